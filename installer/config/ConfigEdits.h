#pragma once
// The two changes the installer makes to openclaw.json, and their inverses, as pure edits of a
// parsed document: the Pellix agent's entry and the main agent's permission to spawn it. Safe on
// any thread, one document per thread.

#include "Choices.h"
#include "config/AgentList.h"
#include "config/ConfigDocument.h"

namespace pellix {

enum class Registration { added, alreadyRegistered };

// Appends the Pellix entry, made from `choices`, to the host's agent list unless an entry named
// or identified "pellix" is there already, in which case `document` is left as it was.
Registration registerAgent(ConfigDocument& document, const Choices& choices);

// Adds "pellix" to the main agent's "subagents"."allowAgents". Returns whether `document` changed;
// it is left as it was when there is no main agent or it may already spawn Pellix.
bool allowPellix(ConfigDocument& document);

// Takes every entry named or identified "pellix" out of the agent list that registerAgent uses,
// leaving the list itself and everything else in place. Returns whether `document` changed.
bool unregisterAgent(ConfigDocument& document);

// Takes every "pellix" out of the main agent's "subagents"."allowAgents", leaving the list and
// everything else in place. Returns whether `document` changed.
bool disallowPellix(ConfigDocument& document);

// Sets the Pellix entry's model, heartbeat model and heartbeat interval to what `choices` give,
// in whichever form the entry keeps them ("model" as text or {"primary"}, the interval as
// "heartbeatIntervalMinutes" or "heartbeat"."every"); every other key is left as it is. False
// when there is no entry, or it holds these values already (the document is then unchanged).
bool setPellixChoices(ConfigDocument& document, const Choices& choices);

}  // namespace pellix
