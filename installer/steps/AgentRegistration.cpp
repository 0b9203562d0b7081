// Registers the Pellix agent in openclaw.json. Failures here are fatal to the install: the host
// cannot run an agent it has no entry for.

#include <algorithm>
#include <initializer_list>
#include <string>

#include "../InstallerViewModel.h"
#include "ConfigDocument.h"
#include "ConfigEdits.h"
#include "ConfigFile.h"

namespace pellix {

namespace {

constexpr const char* kPellix = "pellix";
constexpr const char* kCannotRead = "Cannot read openclaw.json";
constexpr const char* kCannotWrite = "Failed to write openclaw.json";

JsonValue stringArray(std::initializer_list<const char*> texts, JsonAllocator& allocator) {
    JsonValue array(rapidjson::kArrayType);
    for (const char* text : texts) array.PushBack(stringValue(text, allocator), allocator);
    return array;
}

JsonValue pellixEntry(const std::string& modelChoice, const std::string& scanPreset,
                      JsonAllocator& allocator) {
    const std::string model = modelIdentifier(modelChoice);
    JsonValue entry(rapidjson::kObjectType);
    const auto add = [&](const char* key, JsonValue value) {
        entry.AddMember(stringValue(key, allocator), value.Move(), allocator);
    };
    add("name", stringValue(kPellix, allocator));
    add("description", stringValue("Behavioral drift detection & AI conscience", allocator));
    add("model", stringValue(model, allocator));
    add("heartbeatIntervalMinutes", JsonValue(heartbeatMinutes(scanPreset)));
    add("heartbeatModel", stringValue(model, allocator));
    add("agentsDir", stringValue("agents/pellix-unified", allocator));
    add("tools", stringArray({"read", "web_fetch", "exec", "message"}, allocator));
    return entry;
}

}  // namespace

std::string modelIdentifier(const std::string& modelChoice) {
    if (modelChoice == "opus") return "anthropic/claude-opus-4-6";
    if (modelChoice == "haiku") return "anthropic/claude-haiku-3-5-20241022";
    return "anthropic/claude-sonnet-4-20250514";
}

int heartbeatMinutes(const std::string& scanPreset) {
    if (scanPreset == "vigilant") return 5;
    if (scanPreset == "relaxed") return 60;
    if (scanPreset == "daily") return 1440;
    return 15;
}

bool isPellixEntry(const JsonValue& entry) {
    return holdsString(member(entry, "name"), kPellix) || holdsString(member(entry, "id"), kPellix);
}

const JsonValue* pellixEntryOf(const JsonValue& document) {
    const JsonValue* list = findAgentList(document);
    if (list == nullptr) return nullptr;
    const auto found = std::find_if(list->Begin(), list->End(), isPellixEntry);
    return found == list->End() ? nullptr : &*found;
}

Registration registerAgent(ConfigDocument& document, const std::string& modelChoice,
                           const std::string& scanPreset) {
    if (pellixEntryOf(document.root()) != nullptr) return Registration::alreadyRegistered;
    JsonValue entry = pellixEntry(modelChoice, scanPreset, document.allocator());
    agentListForEditing(document).PushBack(entry.Move(), document.allocator());
    return Registration::added;
}

bool unregisterAgent(ConfigDocument& document) {
    if (pellixEntryOf(document.root()) == nullptr) return false;
    // The list the entries are in, not agentListForEditing's: moving the list to another key
    // would be a change of its own.
    JsonValue& list = *const_cast<JsonValue*>(findAgentList(document.root()));
    list.Erase(std::remove_if(list.Begin(), list.End(), isPellixEntry), list.End());
    return true;
}

StepResult InstallerViewModel::registerPellixAgent(const std::string& configPath) {
    const std::string model = modelChoice();
    const std::string preset = scanPreset();
    bool alreadyRegistered = false;
    const ConfigEditResult result = editConfigFile(
        configPath,
        [&](ConfigDocument& document) {
            alreadyRegistered =
                registerAgent(document, model, preset) == Registration::alreadyRegistered;
            return !alreadyRegistered;
        },
        ConfigBackup::takeBeforeWriting);
    switch (result) {
        case ConfigEditResult::unreadable:
            return {StepStatus::failed, kCannotRead};
        case ConfigEditResult::writeFailed:
            return {StepStatus::failed, kCannotWrite};
        case ConfigEditResult::unchanged:
            return {StepStatus::success, "Already registered"};
        case ConfigEditResult::written:
            break;
    }
    return {StepStatus::success, "Registered with " + model + " model, " +
                                     std::to_string(heartbeatMinutes(preset)) + "m scan"};
}

}  // namespace pellix
