#pragma once
// openclaw.json as the registration and allowlist workers see it: strict reading, the
// serialised form they write back, and the one rule that finds the host's agent list. Pure
// functions on values (the file helpers at the end are the only ones touching the disk); safe on
// any thread.

#include <cstddef>
#include <nlohmann/json.hpp>
#include <optional>
#include <string>

namespace pellix {

// A larger file is treated as unreadable rather than loaded whole into memory.
inline constexpr std::size_t kMaxConfigBytes = 32 * 1024 * 1024;

// Deepest nesting of arrays and objects accepted. Copying, comparing and printing a document
// recurse once per level, so a deeper file could exhaust the stack.
inline constexpr std::size_t kMaxConfigDepth = 512;

// The document in `bytes` when it is strict JSON (no comments, no trailing commas, valid UTF-8,
// an optional UTF-8 byte-order mark) with an object at the top and nesting no deeper than
// kMaxConfigDepth; nothing otherwise. Never throws.
std::optional<nlohmann::json> parseConfig(const std::string& bytes);

// The document pretty-printed with two-space indents and keys in ascending byte order at every
// level; nothing when it cannot be written as UTF-8. Never throws.
std::optional<std::string> serializeConfig(const nlohmann::json& document);

// The host's agent list, detached from the document so a worker can edit it.
struct AgentList {
    nlohmann::json agents;   // the document's "agents" when it is an object, else a new object
    nlohmann::json entries;  // the chosen list, or a new empty array
};

// Picks "agents"."items" when it is an array of objects only, else "agents"."list" under the same
// rule, else a new empty array. `document` must be an object.
AgentList findAgentList(const nlohmann::json& document);

// Puts `list` back: under "items" when the agents object has that key at all (whatever its value),
// else under "list", and the agents object under the document's "agents".
void storeAgentList(nlohmann::json& document, AgentList list);

// readWholeFile then parseConfig; nothing when either fails.
std::optional<nlohmann::json> loadConfig(const std::string& path);

// serializeConfig then an atomic replacement of the file; false when either fails.
bool saveConfig(const std::string& path, const nlohmann::json& document);

}  // namespace pellix
