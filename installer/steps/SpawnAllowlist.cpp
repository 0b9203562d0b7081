// Lets the host's main agent spawn Pellix. Optional for the install, so every failure here is a
// warning and the run goes on.

#include <algorithm>
#include <string>

#include "../InstallerViewModel.h"
#include "ConfigDocument.h"
#include "ConfigEdits.h"
#include "ConfigFile.h"

namespace pellix {

namespace {

constexpr const char* kPellix = "pellix";
constexpr const char* kCannotRead = "Cannot read openclaw.json for allowlist";
constexpr const char* kCannotSave = "Failed to save allowlist change";
constexpr const char* kAlreadyAllowed = "Already in allowlist";

// "id" wins outright over "name": an entry with another id is never the main agent, whatever
// its name says.
bool isMainAgent(const JsonValue& entry) {
    for (const char* key : {"id", "name"}) {
        const JsonValue* value = member(entry, key);
        if (value != nullptr && value->IsString()) return holdsString(value, "main");
    }
    return false;
}

// A list with anything but names in it cannot be trusted, so it is started afresh.
const JsonValue* allowAgentsOf(const JsonValue& mainAgent) {
    const JsonValue* subagents = member(mainAgent, "subagents");
    const JsonValue* allowAgents = subagents ? member(*subagents, "allowAgents") : nullptr;
    if (allowAgents == nullptr || !allowAgents->IsArray()) return nullptr;
    const bool onlyNames = std::all_of(allowAgents->Begin(), allowAgents->End(),
                                       [](const JsonValue& name) { return name.IsString(); });
    return onlyNames ? allowAgents : nullptr;
}

bool isPellixName(const JsonValue& name) {
    return holdsString(&name, kPellix);
}

}  // namespace

const JsonValue* mainAgentOf(const JsonValue& document) {
    const JsonValue* list = findAgentList(document);
    if (list == nullptr) return nullptr;
    const auto found = std::find_if(list->Begin(), list->End(), isMainAgent);
    return found == list->End() ? nullptr : &*found;
}

const JsonValue* mainAgentAllowAgents(const JsonValue& document) {
    const JsonValue* mainAgent = mainAgentOf(document);
    const JsonValue* subagents = mainAgent ? member(*mainAgent, "subagents") : nullptr;
    const JsonValue* names = subagents ? member(*subagents, "allowAgents") : nullptr;
    return names != nullptr && names->IsArray() ? names : nullptr;
}

bool isAllowlisted(const JsonValue& document) {
    const JsonValue* names = mainAgentAllowAgents(document);
    return names != nullptr && std::any_of(names->Begin(), names->End(), isPellixName);
}

bool allowPellix(ConfigDocument& document) {
    const JsonValue* list = findAgentList(document.root());
    const JsonValue* found = mainAgentOf(document.root());
    if (found == nullptr) return false;
    if (const JsonValue* names = allowAgentsOf(*found);
        names != nullptr && std::any_of(names->Begin(), names->End(), isPellixName)) {
        return false;
    }
    const auto index = static_cast<rapidjson::SizeType>(found - list->Begin());
    JsonAllocator& allocator = document.allocator();
    JsonValue& mainAgent = agentListForEditing(document)[index];
    JsonValue* subagents = member(mainAgent, "subagents");
    if (subagents == nullptr || !subagents->IsObject()) {
        subagents =
            &setMember(mainAgent, "subagents", JsonValue(rapidjson::kObjectType), allocator);
    }
    JsonValue* allowAgents = const_cast<JsonValue*>(allowAgentsOf(mainAgent));
    if (allowAgents == nullptr) {
        allowAgents =
            &setMember(*subagents, "allowAgents", JsonValue(rapidjson::kArrayType), allocator);
    }
    allowAgents->PushBack(stringValue(kPellix, allocator), allocator);
    return true;
}

bool disallowPellix(ConfigDocument& document) {
    if (!isAllowlisted(document.root())) return false;
    JsonValue* names = const_cast<JsonValue*>(mainAgentAllowAgents(document.root()));
    names->Erase(std::remove_if(names->Begin(), names->End(), isPellixName), names->End());
    return true;
}

StepResult InstallerViewModel::addToAllowlist(const std::string& configPath) {
    const ConfigEditResult result =
        editConfigFile(configPath, allowPellix, ConfigBackup::takeBeforeWriting);
    switch (result) {
        case ConfigEditResult::unreadable:
            return {StepStatus::warning, kCannotRead};
        case ConfigEditResult::writeFailed:
            return {StepStatus::warning, kCannotSave};
        case ConfigEditResult::unchanged:
            return {StepStatus::success, kAlreadyAllowed};
        case ConfigEditResult::written:
            break;
    }
    return {StepStatus::success, "Added to main agent's spawn allowlist"};
}

}  // namespace pellix
