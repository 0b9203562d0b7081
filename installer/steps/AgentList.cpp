// The lookups the edits of openclaw.json share: members by key (the last of a repeated key
// counts) and the rule that finds the host's agent list.

#include <algorithm>

#include "ConfigDocument.h"

namespace pellix {

namespace {

std::string_view keyOf(const JsonValue::Member& m) {
    return {m.name.GetString(), m.name.GetStringLength()};
}

}  // namespace

const JsonValue* member(const JsonValue& object, std::string_view key) {
    if (!object.IsObject()) return nullptr;
    for (auto it = object.MemberEnd(); it != object.MemberBegin();) {
        --it;
        if (keyOf(*it) == key) return &it->value;
    }
    return nullptr;
}

JsonValue* member(JsonValue& object, std::string_view key) {
    return const_cast<JsonValue*>(member(static_cast<const JsonValue&>(object), key));
}

JsonValue& setMember(JsonValue& object, std::string_view key, JsonValue value,
                     JsonAllocator& allocator) {
    if (JsonValue* existing = member(object, key)) {
        *existing = value.Move();
        return *existing;
    }
    object.AddMember(stringValue(key, allocator), value.Move(), allocator);
    return (object.MemberEnd() - 1)->value;
}

bool holdsString(const JsonValue* value, std::string_view expected) {
    return value != nullptr && value->IsString() &&
           std::string_view(value->GetString(), value->GetStringLength()) == expected;
}

JsonValue stringValue(std::string_view text, JsonAllocator& allocator) {
    return JsonValue(text.data(), static_cast<rapidjson::SizeType>(text.size()), allocator);
}

namespace {

bool isArrayOfObjects(const JsonValue* value) {
    return value != nullptr && value->IsArray() &&
           std::all_of(value->Begin(), value->End(),
                       [](const JsonValue& e) { return e.IsObject(); });
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

}  // namespace pellix
