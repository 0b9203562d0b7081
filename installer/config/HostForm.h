#pragma once
// The form a host's own schema gives its agents, for a host that refuses the entry the installer
// writes first: where it keeps them (a list whose items name themselves, or an object keyed by
// id), and which of the entry's parts it knows, under which key and in which type. Read from
// what `openclaw config schema` prints; the edit then writes the Pellix entry in that form, with
// only keys the schema knows. Any thread, one document per thread.

#include <optional>
#include <string>
#include <string_view>

#include "Choices.h"
#include "config/ConfigDocument.h"
#include "config/ConfigEdits.h"

namespace pellix {

struct HostAgentForm {
    enum class Container { list, entries };
    enum class Model { none, text, primary };      // "m" or {"primary": "m"}
    enum class Interval { none, minutes, every };  // 15, or {"every": "15m"}
    enum class Tools { none, list, allow };        // [..] or {"allow": [..]}

    Container container = Container::list;
    std::string containerKey = "list";  // the key under "agents": "list", "items", "entries"
    bool idKey = false;                 // list items carry "id"
    bool name = false;
    bool description = false;
    Model model = Model::none;
    Interval interval = Interval::none;
    bool heartbeatModel = false;  // beside the interval: "heartbeatModel", or "heartbeat"."model"
    Tools tools = Tools::none;
    bool agentsDir = false;
    bool allowAgents = false;  // the main agent's "subagents"."allowAgents"
    // The value "agents"."ownership" must hold once more than one agent is kept, where the schema
    // fixes one ("explicit").
    std::string ownership;

    // "agents.entries", "agents.list".
    std::string containerName() const { return "agents." + containerKey; }
};

// The form the schema in `schema` gives, or nothing when it says nothing usable of agents.
std::optional<HostAgentForm> readHostAgentForm(std::string_view schema);

// Adds the Pellix entry, made from `choices`, in `form`, unless an entry named or identified
// "pellix" is there already (in any form), in which case `document` is left as it was.
Registration registerAgentInHostForm(ConfigDocument& document, const Choices& choices,
                                     const HostAgentForm& form);

// The minutes of a host's duration ("15m", "1h", "900s"); nothing for any other text.
std::optional<long long> durationMinutes(std::string_view every);

}  // namespace pellix
