#include "ConfigDocument.h"

#include <algorithm>
#include <exception>
#include <utility>

#include "../FileIo.h"

namespace pellix {

using nlohmann::json;

namespace {

// One pass over the bytes that counts open brackets outside strings. The parser never nests
// deeper than this count, so checking it first keeps a hostile file from ever becoming a
// document too deep to copy or print.
bool nestingWithinLimit(const std::string& bytes) {
    std::size_t depth = 0;
    bool inString = false;
    bool escaped = false;
    for (const char c : bytes) {
        if (inString) {
            if (escaped) {
                escaped = false;
            } else if (c == '\\') {
                escaped = true;
            } else if (c == '"') {
                inString = false;
            }
        } else if (c == '"') {
            inString = true;
        } else if (c == '[' || c == '{') {
            if (++depth > kMaxConfigDepth) return false;
        } else if ((c == ']' || c == '}') && depth > 0) {
            --depth;
        }
    }
    return true;
}

const json* member(const json& object, const char* key) {
    const auto it = object.find(key);
    return it == object.end() ? nullptr : &*it;
}

bool isArrayOfObjects(const json* value) {
    return value != nullptr && value->is_array() &&
           std::all_of(value->begin(), value->end(), [](const json& e) { return e.is_object(); });
}

}  // namespace

std::optional<json> parseConfig(const std::string& bytes) {
    if (!nestingWithinLimit(bytes)) return std::nullopt;
    try {
        json document = json::parse(bytes, nullptr, /*allow_exceptions=*/false,
                                    /*ignore_comments=*/false);
        // A failed parse yields a discarded value, which is not an object either.
        if (!document.is_object()) return std::nullopt;
        return document;
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

std::optional<std::string> serializeConfig(const json& document) {
    try {
        return document.dump(2, ' ', /*ensure_ascii=*/false, json::error_handler_t::strict);
    } catch (const std::exception&) {
        return std::nullopt;
    }
}

AgentList findAgentList(const json& document) {
    AgentList list{json::object(), json::array()};
    const json* agents = member(document, "agents");
    if (agents == nullptr || !agents->is_object()) return list;
    list.agents = *agents;
    if (const json* items = member(*agents, "items"); isArrayOfObjects(items)) {
        list.entries = *items;
    } else if (const json* entries = member(*agents, "list"); isArrayOfObjects(entries)) {
        list.entries = *entries;
    }
    return list;
}

void storeAgentList(json& document, AgentList list) {
    // An "items" key of the wrong type still decides the place: the host evidently reads "items".
    const char* key = list.agents.contains("items") ? "items" : "list";
    list.agents[key] = std::move(list.entries);
    document["agents"] = std::move(list.agents);
}

std::optional<json> loadConfig(const std::string& path) {
    const std::optional<std::string> bytes = readWholeFile(path, kMaxConfigBytes);
    if (!bytes) return std::nullopt;
    return parseConfig(*bytes);
}

bool saveConfig(const std::string& path, const json& document) {
    const std::optional<std::string> bytes = serializeConfig(document);
    return bytes && !writeFileAtomically(path, *bytes);
}

}  // namespace pellix
