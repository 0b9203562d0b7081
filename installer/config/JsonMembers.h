#pragma once
// Small helpers over RapidJSON values that every reader and edit of openclaw.json shares: members
// by key, where the last of a key written twice counts (as for JavaScript's reader), and strings.
// Any thread, one document per thread.

#include <rapidjson/document.h>

#include <string_view>

namespace pellix {

using JsonValue = rapidjson::Value;
using JsonAllocator = rapidjson::Document::AllocatorType;

// The value under `key` in `object` (the last one when the key is written twice), or null.
const JsonValue* member(const JsonValue& object, std::string_view key);
JsonValue* member(JsonValue& object, std::string_view key);

// Replaces the value under `key` (the last one, when written twice), or adds the key at the end.
// Returns the stored value.
JsonValue& setMember(JsonValue& object, std::string_view key, JsonValue value,
                     JsonAllocator& allocator);

bool holdsString(const JsonValue* value, std::string_view expected);
JsonValue stringValue(std::string_view text, JsonAllocator& allocator);

}  // namespace pellix
