#pragma once
// Where openclaw.json keeps its agents, and the entries the installer cares about there: the
// Pellix agent and the main agent's permission to spawn it. Agents stand in a list
// ("agents"."items" or "agents"."list", the form the installer writes) or, on hosts that key them
// by id, in "agents"."entries"; every lookup here finds them in either. One lookup of each, shared
// by the edits, the backup rule and the status. Any thread, one document per thread.

#include <string>

#include "config/ConfigDocument.h"

namespace pellix {

// The host's agent list: "agents"."items" when it is an array of objects only, else
// "agents"."list" under the same rule, else null.
const JsonValue* findAgentList(const JsonValue& document);

// The agent list as an edit may change it: under "items" when the agents object has that key at
// all (whatever its value), else under "list"; holding the entries findAgentList sees, in the
// same order. Makes "agents" an object first when it is missing or something else.
JsonValue& agentListForEditing(ConfigDocument& document);

// The host's agents keyed by id: "agents"."entries" when it is an object; else null.
const JsonValue* keyedAgents(const JsonValue& document);

// Earlier installers, and people editing by hand, may have used either key for the agent.
bool isPellixEntry(const JsonValue& entry);

// The first entry of the agent list named or identified "pellix", else the keyed agents' entry
// under "pellix" or named so; null when there is none.
const JsonValue* pellixEntryOf(const JsonValue& document);

// Where the Pellix entry stands: "agents.items", "agents.list" or "agents.entries"; empty when
// there is none.
std::string pellixEntryForm(const JsonValue& document);

// The main agent: the first entry of the agent list whose "id", or failing a string there its
// "name", is "main", else the keyed agents' "main"; null when there is none.
const JsonValue* mainAgentOf(const JsonValue& document);

// The main agent's "subagents"."allowAgents" when it is an array, whatever it holds; else null.
const JsonValue* mainAgentAllowAgents(const JsonValue& document);

// The main agent's allowAgents when it holds names only: a list with anything else in it cannot
// be trusted and is started afresh by the edit; else null.
const JsonValue* trustedAllowAgentsOf(const JsonValue& mainAgent);

// Whether `name` is the string "pellix".
bool isPellixName(const JsonValue& name);

// Whether "pellix" is in the main agent's allowAgents.
bool isAllowlisted(const JsonValue& document);

// Whether the document holds any of Pellix's parts: its entry or the main agent's permission.
bool mentionsPellix(const JsonValue& document);

}  // namespace pellix
