#pragma once
// The two changes the installer makes to openclaw.json, as pure edits of a parsed document: the
// Pellix agent's entry and the main agent's permission to spawn it. Defined beside the workers
// that apply them; safe on any thread.

#include <nlohmann/json.hpp>
#include <string>

namespace pellix {

enum class Registration { added, alreadyRegistered };

// Model identifier for the welcome screen's model choice; an unknown choice gets the default.
std::string modelIdentifier(const std::string& modelChoice);

// Heartbeat interval in minutes for the scan preset; an unknown preset gets the standard one.
int heartbeatMinutes(const std::string& scanPreset);

// Appends the Pellix entry to the host's agent list unless an entry named or identified "pellix"
// is there already, in which case `document` is left as it was. `document` must be an object.
Registration registerAgent(nlohmann::json& document, const std::string& modelChoice,
                           const std::string& scanPreset);

// Adds "pellix" to the main agent's "subagents"."allowAgents". Returns whether `document` changed;
// it is left as it was when there is no main agent or it may already spawn Pellix. `document`
// must be an object.
bool allowPellix(nlohmann::json& document);

}  // namespace pellix
