#pragma once
// The texts of the agent's systemd user units: the always-on service, and a oneshot service with
// its timer per scanner. Fixed templates like the property lists; values go in verbatim except
// where systemd's own syntax needs an escape (quotes, backslashes, "%" and "$").
// Pure functions of their arguments, safe on any thread.

#include <string>

#include "jobs/AgentJobs.h"

namespace pellix {

// `configHome` (XDG_CONFIG_HOME, else HOME/.config) followed by "/systemd/user".
std::string systemdUserUnitFolder(const std::string& configHome);

std::string serviceUnitName(const AgentJob& job);
std::string timerUnitName(const AgentJob& job);

// The always-on service: restarted whenever it exits; a scanner: a oneshot run of its script.
std::string serviceUnit(const AgentJob& job, const JobValues& values);
// Fires once when started (at install, and at each start of the user's manager, like launchd's
// RunAtLoad) and then `intervalSeconds` after each run has ended. OnStartupSec=0, not
// OnActiveSec=0: the latter fires again on every daemon-reload.
std::string timerUnit(const AgentJob& job);

// One word of a command line or an assignment list: in double quotes, with backslash, quote,
// "%" (specifiers) and "$" (only where `forCommand`: variable expansion) escaped.
std::string systemdQuoted(const std::string& text, bool forCommand);

}  // namespace pellix
