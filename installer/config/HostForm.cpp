#include "config/HostForm.h"

#include <charconv>
#include <initializer_list>

#include "config/AgentList.h"

namespace pellix {

namespace {

constexpr const char* kPellix = "pellix";

const JsonValue* at(const JsonValue* node, std::initializer_list<std::string_view> keys) {
    for (std::string_view key : keys) {
        if (node == nullptr) return nullptr;
        node = member(*node, key);
    }
    return node;
}

const JsonValue* property(const JsonValue* node, std::string_view key) {
    return at(node, {"properties", key});
}

// Whether a value of JSON Schema type `type` fits the schema `node`: its "type" (a name or a
// list of names), or any branch of its "anyOf" or "oneOf". An integer fits "number" too.
bool accepts(const JsonValue* node, std::string_view type) {
    if (node == nullptr || !node->IsObject()) return false;
    const auto names = [&](const JsonValue& name) {
        return holdsString(&name, type) || (type == "number" && holdsString(&name, "integer"));
    };
    if (const JsonValue* declared = member(*node, "type")) {
        if (names(*declared)) return true;
        if (declared->IsArray()) {
            for (const JsonValue& name : declared->GetArray()) {
                if (names(name)) return true;
            }
        }
    }
    for (const char* combinator : {"anyOf", "oneOf"}) {
        const JsonValue* branches = member(*node, combinator);
        if (branches == nullptr || !branches->IsArray()) continue;
        for (const JsonValue& branch : branches->GetArray()) {
            if (accepts(&branch, type)) return true;
        }
    }
    return false;
}

// The schema of one agent entry, and where the form keeps the entries.
const JsonValue* entrySchema(const JsonValue* agents, HostAgentForm& form) {
    const JsonValue* entries = property(agents, "entries");
    const JsonValue* keyed =
        entries != nullptr ? member(*entries, "additionalProperties") : nullptr;
    if (accepts(entries, "object") && keyed != nullptr && keyed->IsObject()) {
        form.container = HostAgentForm::Container::entries;
        form.containerKey = "entries";
        return keyed;
    }
    for (const char* key : {"list", "items"}) {
        const JsonValue* list = property(agents, key);
        const JsonValue* items = list != nullptr ? member(*list, "items") : nullptr;
        if (accepts(list, "array") && items != nullptr && items->IsObject()) {
            form.container = HostAgentForm::Container::list;
            form.containerKey = key;
            form.idKey = accepts(property(items, "id"), "string");
            return items;
        }
    }
    return nullptr;
}

void readEntryParts(const JsonValue* entry, HostAgentForm& form) {
    form.name = accepts(property(entry, "name"), "string");
    form.description = accepts(property(entry, "description"), "string");
    const JsonValue* model = property(entry, "model");
    if (accepts(model, "string")) {
        form.model = HostAgentForm::Model::text;
    } else if (accepts(property(model, "primary"), "string")) {
        form.model = HostAgentForm::Model::primary;
    }
    const JsonValue* heartbeat = property(entry, "heartbeat");
    if (accepts(property(entry, "heartbeatIntervalMinutes"), "number")) {
        form.interval = HostAgentForm::Interval::minutes;
        form.heartbeatModel = accepts(property(entry, "heartbeatModel"), "string");
    } else if (accepts(property(heartbeat, "every"), "string")) {
        form.interval = HostAgentForm::Interval::every;
        form.heartbeatModel = accepts(property(heartbeat, "model"), "string");
    }
    const JsonValue* tools = property(entry, "tools");
    if (accepts(tools, "array")) {
        form.tools = HostAgentForm::Tools::list;
    } else if (accepts(property(tools, "allow"), "array")) {
        form.tools = HostAgentForm::Tools::allow;
    }
    form.agentsDir = accepts(property(entry, "agentsDir"), "string");
    form.allowAgents =
        accepts(at(entry, {"properties", "subagents", "properties", "allowAgents"}), "array");
}

JsonValue toolNames(JsonAllocator& allocator) {
    JsonValue names(rapidjson::kArrayType);
    for (const char* tool : {"read", "web_fetch", "exec", "message"}) {
        names.PushBack(stringValue(tool, allocator), allocator);
    }
    return names;
}

JsonValue hostEntry(const Choices& choices, const HostAgentForm& form, JsonAllocator& allocator) {
    const std::string model = modelIdentifier(choices.modelChoice);
    const int minutes = heartbeatMinutes(choices.scanPreset);
    JsonValue entry(rapidjson::kObjectType);
    const auto add = [&](JsonValue& object, const char* key, JsonValue value) {
        object.AddMember(stringValue(key, allocator), value.Move(), allocator);
    };
    if (form.container == HostAgentForm::Container::list && form.idKey) {
        add(entry, "id", stringValue(kPellix, allocator));
    }
    if (form.name) add(entry, "name", stringValue(kPellix, allocator));
    if (form.description) {
        add(entry, "description",
            stringValue("Behavioral drift detection & AI conscience", allocator));
    }
    if (form.model == HostAgentForm::Model::text)
        add(entry, "model", stringValue(model, allocator));
    if (form.model == HostAgentForm::Model::primary) {
        JsonValue primary(rapidjson::kObjectType);
        add(primary, "primary", stringValue(model, allocator));
        add(entry, "model", std::move(primary));
    }
    if (form.interval == HostAgentForm::Interval::minutes) {
        add(entry, "heartbeatIntervalMinutes", JsonValue(minutes));
        if (form.heartbeatModel) add(entry, "heartbeatModel", stringValue(model, allocator));
    }
    if (form.interval == HostAgentForm::Interval::every) {
        JsonValue heartbeat(rapidjson::kObjectType);
        add(heartbeat, "every", stringValue(std::to_string(minutes) + "m", allocator));
        if (form.heartbeatModel) add(heartbeat, "model", stringValue(model, allocator));
        add(entry, "heartbeat", std::move(heartbeat));
    }
    if (form.agentsDir) add(entry, "agentsDir", stringValue("agents/pellix-unified", allocator));
    if (form.tools == HostAgentForm::Tools::list) add(entry, "tools", toolNames(allocator));
    if (form.tools == HostAgentForm::Tools::allow) {
        JsonValue tools(rapidjson::kObjectType);
        add(tools, "allow", toolNames(allocator));
        add(entry, "tools", std::move(tools));
    }
    return entry;
}

JsonValue& agentsObject(ConfigDocument& document) {
    JsonValue* agents = member(document.root(), "agents");
    if (agents == nullptr || !agents->IsObject()) {
        agents = &setMember(document.root(), "agents", JsonValue(rapidjson::kObjectType),
                            document.allocator());
    }
    return *agents;
}

}  // namespace

std::optional<HostAgentForm> readHostAgentForm(std::string_view schema) {
    rapidjson::Document root;
    root.Parse<rapidjson::kParseStopWhenDoneFlag>(schema.data(), schema.size());
    if (root.HasParseError() || !root.IsObject()) return std::nullopt;
    HostAgentForm form;
    const JsonValue* agents = property(&root, "agents");
    const JsonValue* entry = entrySchema(agents, form);
    if (entry == nullptr) return std::nullopt;
    readEntryParts(entry, form);
    if (const JsonValue* ownership = at(property(agents, "ownership"), {"const"});
        ownership != nullptr && ownership->IsString()) {
        form.ownership = ownership->GetString();
    }
    return form;
}

Registration registerAgentInHostForm(ConfigDocument& document, const Choices& choices,
                                     const HostAgentForm& form) {
    if (pellixEntryOf(document.root()) != nullptr) return Registration::alreadyRegistered;
    JsonAllocator& allocator = document.allocator();
    JsonValue entry = hostEntry(choices, form, allocator);
    JsonValue& agents = agentsObject(document);
    JsonValue* container = member(agents, form.containerKey);
    if (form.container == HostAgentForm::Container::entries) {
        if (container == nullptr || !container->IsObject()) {
            container =
                &setMember(agents, form.containerKey, JsonValue(rapidjson::kObjectType), allocator);
        }
        setMember(*container, kPellix, std::move(entry), allocator);
        // A host that fixes how a roster of several agents is owned wants it said once there is
        // one.
        if (!form.ownership.empty() && member(agents, "ownership") == nullptr &&
            container->MemberCount() > 1) {
            setMember(agents, "ownership", stringValue(form.ownership, allocator), allocator);
        }
        return Registration::added;
    }
    if (container == nullptr || !container->IsArray()) {
        container =
            &setMember(agents, form.containerKey, JsonValue(rapidjson::kArrayType), allocator);
        // A host that takes its first listed agent for its default keeps "main" first, as its
        // own `agents add` writes a new list.
        if (form.idKey) {
            JsonValue main(rapidjson::kObjectType);
            main.AddMember(stringValue("id", allocator), stringValue("main", allocator), allocator);
            container->PushBack(main.Move(), allocator);
        }
    }
    container->PushBack(entry.Move(), allocator);
    return Registration::added;
}

std::optional<long long> durationMinutes(std::string_view every) {
    long long amount = 0;
    const auto [end, error] = std::from_chars(every.data(), every.data() + every.size(), amount);
    if (error != std::errc() || end == every.data()) return std::nullopt;
    const std::string_view unit(end, static_cast<std::size_t>(every.data() + every.size() - end));
    if (unit == "m") return amount;
    if (unit == "h") return amount * 60;
    if (unit == "s" && amount % 60 == 0) return amount / 60;
    if (unit == "ms" && amount % 60000 == 0) return amount / 60000;
    return std::nullopt;
}

}  // namespace pellix
