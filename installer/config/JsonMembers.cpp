#include "config/JsonMembers.h"

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

}  // namespace pellix
