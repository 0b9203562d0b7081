// libFuzzer target over openclaw.json's two edits and their inverses, the entry written as the
// installer writes it first and in each host's own form (keyed entries, listed entries with an
// id). For any bytes: never a crash; a refused file is left byte for byte as it was; an edited
// file keeps every value of the input apart from the places the edits are documented to change,
// and the inverses take out everything the edits added.

#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

#include "config/ConfigDocument.h"
#include "config/ConfigEdits.h"
#include "config/ConfigTransaction.h"
#include "config/HostForm.h"

namespace pellix {
namespace {

[[noreturn]] void fail(const char* what) {
    std::fprintf(stderr, "invariant broken: %s\n", what);
    std::abort();
}

std::string text(const ConfigDocument& document, const JsonValue& value) {
    return document.serialize(value).value();
}

// Every member of `before` but those in `except` is in `after` with the same value.
void expectMembersKept(const ConfigDocument& a, const JsonValue& before, const ConfigDocument& b,
                       const JsonValue& after, std::initializer_list<std::string_view> except) {
    for (auto it = before.MemberBegin(); it != before.MemberEnd(); ++it) {
        const std::string_view key(it->name.GetString(), it->name.GetStringLength());
        if (std::find(except.begin(), except.end(), key) != except.end()) continue;
        const JsonValue* kept = member(after, key);
        if (kept == nullptr || text(b, *kept) != text(a, *member(before, key))) {
            fail("a member outside the edits changed");
        }
    }
}

void expectEntriesKept(const ConfigDocument& a, const JsonValue& list, const ConfigDocument& b,
                       const JsonValue& edited) {
    if (edited.Size() < list.Size()) fail("the agent list lost an entry");
    for (rapidjson::SizeType i = 0; i < list.Size(); ++i) {
        expectMembersKept(a, list[i], b, edited[i], {"subagents"});
        const JsonValue* subagents = member(list[i], "subagents");
        if (subagents == nullptr || !subagents->IsObject()) continue;
        const JsonValue* now = member(edited[i], "subagents");
        if (now == nullptr || !now->IsObject()) fail("subagents lost");
        expectMembersKept(a, *subagents, b, *now, {"allowAgents"});
    }
}

void expectKeyedEntriesKept(const ConfigDocument& a, const JsonValue& agents,
                            const ConfigDocument& b, const JsonValue& editedAgents) {
    const JsonValue* entries = member(agents, "entries");
    if (entries == nullptr || !entries->IsObject()) return;
    const JsonValue* now = member(editedAgents, "entries");
    if (now == nullptr || !now->IsObject()) fail("keyed entries lost");
    expectMembersKept(a, *entries, b, *now, {"main"});
    const JsonValue* main = member(*entries, "main");
    if (main == nullptr || !main->IsObject()) return;
    const JsonValue* editedMain = member(*now, "main");
    if (editedMain == nullptr || !editedMain->IsObject()) fail("the keyed main agent is gone");
    expectMembersKept(a, *main, b, *editedMain, {"subagents"});
}

void checkEditsKeepValues(const ConfigDocument& before, const ConfigDocument& after) {
    expectMembersKept(before, before.root(), after, after.root(), {"agents"});
    const JsonValue* agents = member(before.root(), "agents");
    if (agents == nullptr || !agents->IsObject()) return;
    const JsonValue* list = findAgentList(before.root());
    const JsonValue* editedAgents = member(after.root(), "agents");
    if (editedAgents == nullptr || !editedAgents->IsObject()) fail("agents is gone");
    const std::string_view key = member(*agents, "items") ? "items" : "list";
    // The allowlist item goes to the main agent wherever it is kept, keyed entries too.
    expectMembersKept(before, *agents, after, *editedAgents, {key, "entries"});
    expectKeyedEntriesKept(before, *agents, after, *editedAgents);
    if (list == nullptr) return;
    // The list moves under "items" only when an edit changed it.
    const JsonValue* editedList = member(*editedAgents, key);
    if (editedList == nullptr || !editedList->IsArray()) editedList = findAgentList(after.root());
    if (editedList == nullptr) fail("the agent list is gone");
    expectEntriesKept(before, *list, after, *editedList);
}

void checkFileRefused(const std::string& bytes) {
    static const std::string path = [] {
        char folder[] = "/tmp/pellix-fuzz-XXXXXX";
        return std::string(::mkdtemp(folder)) + "/openclaw.json";
    }();
    std::ofstream(path, std::ios::binary | std::ios::trunc) << bytes;
    const ConfigEditResult result = editConfigFile(
        path, [](ConfigDocument& d) { return allowPellix(d); }, ConfigBackup::leaveAsItIs);
    std::ifstream in(path, std::ios::binary);
    std::ostringstream now;
    now << in.rdbuf();
    if (result != ConfigEditResult::unreadable || now.str() != bytes) fail("refused file changed");
}

HostAgentForm keyedForm() {
    HostAgentForm form;
    form.container = HostAgentForm::Container::entries;
    form.containerKey = "entries";
    form.name = form.description = form.heartbeatModel = form.allowAgents = true;
    form.model = HostAgentForm::Model::primary;
    form.interval = HostAgentForm::Interval::every;
    form.tools = HostAgentForm::Tools::allow;
    form.ownership = "explicit";
    return form;
}

HostAgentForm listedForm() {
    HostAgentForm form;
    form.idKey = form.name = form.description = form.heartbeatModel = form.allowAgents = true;
    form.model = HostAgentForm::Model::text;
    form.interval = HostAgentForm::Interval::every;
    form.tools = HostAgentForm::Tools::allow;
    return form;
}

// The host's forms: outside "agents" nothing changes, what was written reads back, and the
// inverses leave no trace of Pellix.
void checkHostForm(const ConfigDocument& before, const HostAgentForm& form) {
    std::optional<ConfigDocument> edited = ConfigDocument::parse(before.serialize().value());
    registerAgentInHostForm(*edited, Choices{}, form);
    allowPellix(*edited);
    std::optional<ConfigDocument> reread = ConfigDocument::parse(edited->serialize().value());
    if (!reread) fail("the installer cannot read the host's form it wrote");
    expectMembersKept(before, before.root(), *reread, reread->root(), {"agents"});
    if (member(before.root(), "agents") == nullptr && pellixEntryOf(reread->root()) == nullptr) {
        fail("the host's form was not written");
    }
    unregisterAgent(*reread);
    disallowPellix(*reread);
    if (mentionsPellix(reread->root())) fail("the inverse edits left the host's form behind");
    expectMembersKept(before, before.root(), *reread, reread->root(), {"agents"});
}

}  // namespace
}  // namespace pellix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace pellix;
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    std::optional<ConfigDocument> before = ConfigDocument::parse(bytes);
    if (!before) {
        checkFileRefused(bytes);
        return 0;
    }
    const std::string printed = before->serialize().value();
    std::optional<ConfigDocument> edited = ConfigDocument::parse(printed);
    if (!edited || edited->serialize() != printed) fail("printing is not stable");
    registerAgent(*edited, Choices{});
    allowPellix(*edited);
    std::optional<ConfigDocument> reread = ConfigDocument::parse(edited->serialize().value());
    if (!reread) fail("the installer cannot read what it wrote");
    checkEditsKeepValues(*before, *reread);
    unregisterAgent(*reread);
    disallowPellix(*reread);
    if (mentionsPellix(reread->root())) fail("the inverse edits left Pellix behind");
    static const HostAgentForm keyed = keyedForm();
    static const HostAgentForm listed = listedForm();
    checkHostForm(*before, keyed);
    checkHostForm(*before, listed);
    return 0;
}
