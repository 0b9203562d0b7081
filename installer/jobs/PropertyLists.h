#pragma once
// The launchd property list of each of the agent's four jobs, rendered from the job table
// (AgentJobs.h) into a fixed template rather than by a serialiser, so the layout is exactly ours:
// four blanks per level, no final line feed, values inserted verbatim. Pure functions of their
// arguments, safe on any thread.

#include <string>

#include "jobs/AgentJobs.h"

namespace pellix {

// `home` followed by "/Library/LaunchAgents".
std::string launchAgentsFolder(const std::string& home);

// The always-on service is kept alive and sees OPENCLAW_HOME; a scanner runs every
// `intervalSeconds`. Either starts when loaded and logs into the agent's ops folder.
std::string propertyList(const AgentJob& job, const JobValues& values);

}  // namespace pellix
