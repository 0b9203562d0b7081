#include "config/ConfigEdits.h"

#include <algorithm>
#include <initializer_list>

namespace pellix {

namespace {

constexpr const char* kPellix = "pellix";

JsonValue stringArray(std::initializer_list<const char*> texts, JsonAllocator& allocator) {
    JsonValue array(rapidjson::kArrayType);
    for (const char* text : texts) array.PushBack(stringValue(text, allocator), allocator);
    return array;
}

JsonValue pellixEntry(const Choices& choices, JsonAllocator& allocator) {
    const std::string model = modelIdentifier(choices.modelChoice);
    JsonValue entry(rapidjson::kObjectType);
    const auto add = [&](const char* key, JsonValue value) {
        entry.AddMember(stringValue(key, allocator), value.Move(), allocator);
    };
    add("name", stringValue(kPellix, allocator));
    add("description", stringValue("Behavioral drift detection & AI conscience", allocator));
    add("model", stringValue(model, allocator));
    add("heartbeatIntervalMinutes", JsonValue(heartbeatMinutes(choices.scanPreset)));
    add("heartbeatModel", stringValue(model, allocator));
    add("agentsDir", stringValue("agents/pellix-unified", allocator));
    add("tools", stringArray({"read", "web_fetch", "exec", "message"}, allocator));
    return entry;
}

}  // namespace

Registration registerAgent(ConfigDocument& document, const Choices& choices) {
    if (pellixEntryOf(document.root()) != nullptr) return Registration::alreadyRegistered;
    JsonValue entry = pellixEntry(choices, document.allocator());
    agentListForEditing(document).PushBack(entry.Move(), document.allocator());
    return Registration::added;
}

bool unregisterAgent(ConfigDocument& document) {
    if (pellixEntryOf(document.root()) == nullptr) return false;
    // The list the entries are in, not agentListForEditing's: moving the list to another key
    // would be a change of its own.
    if (const JsonValue* found = findAgentList(document.root())) {
        JsonValue& list = *const_cast<JsonValue*>(found);
        list.Erase(std::remove_if(list.Begin(), list.End(), isPellixEntry), list.End());
    }
    if (const JsonValue* found = keyedAgents(document.root())) {
        JsonValue& entries = *const_cast<JsonValue*>(found);
        for (auto it = entries.MemberBegin(); it != entries.MemberEnd();) {
            const bool pellix = holdsString(&it->name, kPellix) ||
                                (it->value.IsObject() && isPellixEntry(it->value));
            it = pellix ? entries.EraseMember(it) : it + 1;
        }
    }
    return true;
}

namespace {

// The main agent as an edit may change it: in the agent list, where it must first be the list
// agentListForEditing keeps, or among the keyed agents.
JsonValue& mainAgentForEditing(ConfigDocument& document, const JsonValue& found) {
    if (const JsonValue* list = findAgentList(document.root());
        list != nullptr && &found >= list->Begin() && &found < list->End()) {
        const auto index = static_cast<rapidjson::SizeType>(&found - list->Begin());
        return agentListForEditing(document)[index];
    }
    return const_cast<JsonValue&>(found);
}

}  // namespace

bool allowPellix(ConfigDocument& document) {
    const JsonValue* found = mainAgentOf(document.root());
    if (found == nullptr) return false;
    if (const JsonValue* names = trustedAllowAgentsOf(*found);
        names != nullptr && std::any_of(names->Begin(), names->End(), isPellixName)) {
        return false;
    }
    JsonAllocator& allocator = document.allocator();
    JsonValue& mainAgent = mainAgentForEditing(document, *found);
    JsonValue* subagents = member(mainAgent, "subagents");
    if (subagents == nullptr || !subagents->IsObject()) {
        subagents =
            &setMember(mainAgent, "subagents", JsonValue(rapidjson::kObjectType), allocator);
    }
    JsonValue* allowAgents = const_cast<JsonValue*>(trustedAllowAgentsOf(mainAgent));
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

namespace {

// Puts `text` under `key` unless it is there already; true when it changed.
bool setText(JsonValue& object, std::string_view key, std::string_view text,
             JsonAllocator& allocator) {
    if (holdsString(member(object, key), text)) return false;
    setMember(object, key, stringValue(text, allocator), allocator);
    return true;
}

bool setModel(JsonValue& entry, std::string_view model, JsonAllocator& allocator) {
    JsonValue* current = member(entry, "model");
    if (current != nullptr && current->IsObject())
        return setText(*current, "primary", model, allocator);
    return setText(entry, "model", model, allocator);
}

bool setHeartbeat(const ConfigDocument& document, JsonValue& entry, std::string_view model,
                  int minutes, JsonAllocator& allocator) {
    JsonValue* heartbeat = member(entry, "heartbeat");
    if (heartbeat != nullptr && heartbeat->IsObject()) {
        bool changed = setText(*heartbeat, "every", std::to_string(minutes) + "m", allocator);
        if (member(*heartbeat, "model") != nullptr) {
            changed = setText(*heartbeat, "model", model, allocator) || changed;
        }
        return changed;
    }
    bool changed = setText(entry, "heartbeatModel", model, allocator);
    const JsonValue* interval = member(entry, "heartbeatIntervalMinutes");
    // Numbers keep the text they were read with: compare that.
    if (interval == nullptr || !interval->IsNumber() ||
        document.numberText(*interval) != std::to_string(minutes)) {
        setMember(entry, "heartbeatIntervalMinutes", JsonValue(minutes), allocator);
        changed = true;
    }
    return changed;
}

}  // namespace

bool setPellixChoices(ConfigDocument& document, const Choices& choices) {
    JsonValue* entry = const_cast<JsonValue*>(pellixEntryOf(document.root()));
    if (entry == nullptr || !entry->IsObject()) return false;
    const std::string model = modelIdentifier(choices.modelChoice);
    JsonAllocator& allocator = document.allocator();
    const bool modelChanged = setModel(*entry, model, allocator);
    const bool heartbeatChanged =
        setHeartbeat(document, *entry, model, heartbeatMinutes(choices.scanPreset), allocator);
    return modelChanged || heartbeatChanged;
}

}  // namespace pellix
