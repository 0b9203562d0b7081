#pragma once
// What an install found out besides its checklist rows, for the front ends that show more than
// rows: the terminal prints it as lines after the rows, the JSON summary as fields, the receipt
// keeps it. The window shows its rows only. Plain data, owned by the view model and written on
// its thread between the rows.

#include <optional>
#include <string>
#include <vector>

#include "Choices.h"
#include "config/HostVerdict.h"

namespace pellix {

struct InstallRecord {
    // How openclaw.json took the Pellix entry.
    struct Registration {
        std::string form;     // where the entry stands: "agents.list", "agents.entries", ...
        std::string host;     // who judged it: "OpenClaw 2026.9.6"; empty when nobody could
        HostVerdict verdict;  // what the host said of the bytes written (or refused)
    };
    std::optional<Registration> registration;
    // What the host said when it refused the allowlist change; nothing was written then.
    std::optional<HostVerdict> allowlistRefused;
    // The host's line when the gateway restart was refused because it rejects its config.
    std::optional<std::string> gatewayConfigRefused;
    // ops/ paths (relative to the agent's tree) where the user's file was kept and the new
    // bundle's written beside it as "<path>.pellix-new".
    std::vector<std::string> keptBeside;
    // The choices of an entry that was there already and kept, where they differ from the ones
    // this run was given: an install never changes an existing entry.
    std::optional<Choices> choicesKept;
};

}  // namespace pellix
