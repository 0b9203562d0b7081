#pragma once
// OpenClaw's own commands as the installer asks them of the host: its validator's verdict on a
// configuration file, the JSON schema of its configuration, and its version. Each runs at once
// through the host and waits (Host::runNow), so it is called from a blocking job, on any thread.
// A host without the command, or one that does not answer, gives "not checked".

#include <optional>
#include <string>

#include "Host.h"
#include "InstallerTypes.h"
#include "config/HostVerdict.h"

namespace pellix {

// The host's validator for any file, candidates included: `openclaw config validate --json` with
// OPENCLAW_CONFIG_PATH naming the file and a state folder of its own, so the host's real
// configuration and state are neither read nor touched. Once the host shows it has no such
// command, later calls answer "not checked" without asking again. `host` must outlive it.
ConfigValidator openclawValidator(const Host& host);

// The verdict in the validator's answer: its JSON (valid, issues) where it printed one, else its
// exit status and the first line that gives a reason ("  × path: message").
HostVerdict judgeValidation(const ShellResult& result);

// What `openclaw config schema` prints; nothing where the host has no such command.
std::optional<std::string> openclawSchema(const Host& host);

// "OpenClaw 2026.9.6", from `openclaw --version`; empty when it does not say.
std::string openclawVersion(const Host& host);

// The host's line when a gateway restart was refused because the host rejects its
// configuration (exit status 78, or "config is invalid" in what it printed); else nothing.
std::optional<std::string> configRefusedLine(const ShellResult& restart);

// The first line of a command's output that is not blank, without its leading blanks.
std::string firstLine(const std::string& output);

}  // namespace pellix
