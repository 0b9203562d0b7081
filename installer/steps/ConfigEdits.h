#pragma once
// The two changes the installer makes to openclaw.json, and their inverses, as pure edits of a
// parsed document: the Pellix agent's entry and the main agent's permission to spawn it. Safe on
// any thread, one document per thread.

#include <string>

#include "ConfigDocument.h"

namespace pellix {

enum class Registration { added, alreadyRegistered };

// Model identifier for the welcome screen's model choice; an unknown choice gets the default.
std::string modelIdentifier(const std::string& modelChoice);

// Heartbeat interval in minutes for the scan preset; an unknown preset gets the standard one.
int heartbeatMinutes(const std::string& scanPreset);

// Earlier installers, and people editing by hand, may have used either key for the agent.
bool isPellixEntry(const JsonValue& entry);

// The main agent of the host's agent list: the first entry whose "id", or failing a string
// there its "name", is "main"; null when there is none.
const JsonValue* mainAgentOf(const JsonValue& document);

// The first entry of the host's agent list named or identified "pellix"; null when there is none.
const JsonValue* pellixEntryOf(const JsonValue& document);

// The main agent's "subagents"."allowAgents" when it is an array, whatever it holds; else null.
const JsonValue* mainAgentAllowAgents(const JsonValue& document);

// Whether "pellix" is in the main agent's allowAgents.
bool isAllowlisted(const JsonValue& document);

// Appends the Pellix entry to the host's agent list unless an entry named or identified "pellix"
// is there already, in which case `document` is left as it was.
Registration registerAgent(ConfigDocument& document, const std::string& modelChoice,
                           const std::string& scanPreset);

// Adds "pellix" to the main agent's "subagents"."allowAgents". Returns whether `document` changed;
// it is left as it was when there is no main agent or it may already spawn Pellix.
bool allowPellix(ConfigDocument& document);

// Takes every entry named or identified "pellix" out of the agent list that registerAgent uses,
// leaving the list itself and everything else in place. Returns whether `document` changed.
bool unregisterAgent(ConfigDocument& document);

// Takes every "pellix" out of the main agent's "subagents"."allowAgents", leaving the list and
// everything else in place. Returns whether `document` changed.
bool disallowPellix(ConfigDocument& document);

}  // namespace pellix
