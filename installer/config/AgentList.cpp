#include "config/AgentList.h"

#include <algorithm>

namespace pellix {

namespace {

constexpr const char* kPellix = "pellix";

bool isArrayOfObjects(const JsonValue* value) {
    return value != nullptr && value->IsArray() &&
           std::all_of(value->Begin(), value->End(),
                       [](const JsonValue& e) { return e.IsObject(); });
}

// "id" wins outright over "name": an entry with another id is never the main agent, whatever
// its name says.
bool isMainAgent(const JsonValue& entry) {
    for (const char* key : {"id", "name"}) {
        const JsonValue* value = member(entry, key);
        if (value != nullptr && value->IsString()) return holdsString(value, "main");
    }
    return false;
}

}  // namespace

const JsonValue* findAgentList(const JsonValue& document) {
    const JsonValue* agents = member(document, "agents");
    if (agents == nullptr || !agents->IsObject()) return nullptr;
    if (const JsonValue* items = member(*agents, "items"); isArrayOfObjects(items)) return items;
    if (const JsonValue* list = member(*agents, "list"); isArrayOfObjects(list)) return list;
    return nullptr;
}

JsonValue& agentListForEditing(ConfigDocument& document) {
    JsonAllocator& allocator = document.allocator();
    JsonValue& root = document.root();
    JsonValue* agents = member(root, "agents");
    if (agents == nullptr || !agents->IsObject()) {
        agents = &setMember(root, "agents", JsonValue(rapidjson::kObjectType), allocator);
    }
    const JsonValue* source = findAgentList(root);
    // An "items" key of the wrong type still decides the place: the host evidently reads "items".
    const std::string_view key = member(*agents, "items") != nullptr ? "items" : "list";
    JsonValue* destination = member(*agents, key);
    if (destination != nullptr && destination == source) return *destination;
    JsonValue list(rapidjson::kArrayType);
    if (source != nullptr) list.CopyFrom(*source, allocator);
    return setMember(*agents, key, std::move(list), allocator);
}

const JsonValue* keyedAgents(const JsonValue& document) {
    const JsonValue* agents = member(document, "agents");
    const JsonValue* entries = agents != nullptr ? member(*agents, "entries") : nullptr;
    return entries != nullptr && entries->IsObject() ? entries : nullptr;
}

bool isPellixEntry(const JsonValue& entry) {
    return holdsString(member(entry, "name"), kPellix) || holdsString(member(entry, "id"), kPellix);
}

namespace {

const JsonValue* listedPellixEntry(const JsonValue& document) {
    const JsonValue* list = findAgentList(document);
    if (list == nullptr) return nullptr;
    const auto found = std::find_if(list->Begin(), list->End(), isPellixEntry);
    return found == list->End() ? nullptr : &*found;
}

const JsonValue* keyedPellixEntry(const JsonValue& document) {
    const JsonValue* entries = keyedAgents(document);
    if (entries == nullptr) return nullptr;
    if (const JsonValue* entry = member(*entries, kPellix); entry && entry->IsObject()) {
        return entry;
    }
    for (const auto& entry : entries->GetObject()) {
        if (entry.value.IsObject() && isPellixEntry(entry.value)) return &entry.value;
    }
    return nullptr;
}

}  // namespace

const JsonValue* pellixEntryOf(const JsonValue& document) {
    if (const JsonValue* entry = listedPellixEntry(document)) return entry;
    return keyedPellixEntry(document);
}

std::string pellixEntryForm(const JsonValue& document) {
    if (listedPellixEntry(document) != nullptr) {
        const JsonValue* agents = member(document, "agents");
        return findAgentList(document) == member(*agents, "items") ? "agents.items" : "agents.list";
    }
    return keyedPellixEntry(document) != nullptr ? "agents.entries" : "";
}

const JsonValue* mainAgentOf(const JsonValue& document) {
    if (const JsonValue* list = findAgentList(document)) {
        const auto found = std::find_if(list->Begin(), list->End(), isMainAgent);
        if (found != list->End()) return &*found;
    }
    const JsonValue* entries = keyedAgents(document);
    const JsonValue* main = entries != nullptr ? member(*entries, "main") : nullptr;
    return main != nullptr && main->IsObject() ? main : nullptr;
}

const JsonValue* mainAgentAllowAgents(const JsonValue& document) {
    const JsonValue* mainAgent = mainAgentOf(document);
    const JsonValue* subagents = mainAgent ? member(*mainAgent, "subagents") : nullptr;
    const JsonValue* names = subagents ? member(*subagents, "allowAgents") : nullptr;
    return names != nullptr && names->IsArray() ? names : nullptr;
}

const JsonValue* trustedAllowAgentsOf(const JsonValue& mainAgent) {
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

bool isAllowlisted(const JsonValue& document) {
    const JsonValue* names = mainAgentAllowAgents(document);
    return names != nullptr && std::any_of(names->Begin(), names->End(), isPellixName);
}

bool mentionsPellix(const JsonValue& document) {
    return pellixEntryOf(document) != nullptr || isAllowlisted(document);
}

}  // namespace pellix
