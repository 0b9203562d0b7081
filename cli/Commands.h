#pragma once
// The five commands, one file each, over the installer core: each makes the core's call, prints
// its result on the console (with --json: exactly one JSON object on standard output) and
// returns its exit status. Main thread only.

#include <optional>
#include <string>
#include <string_view>

#include "Cli.h"
#include "CommandLine.h"
#include "InstallerTypes.h"
#include "Platform.h"

namespace pellix {

int installCommand(const CommandOptions& options, Platform platform, const Console& console);
int statusCommand(const CommandOptions& options, Platform platform, const Console& console);
int configureCommand(const CommandOptions& options, Platform platform, const Console& console);
int uninstallCommand(const CommandOptions& options, Platform platform, const Console& console);
int restoreConfigCommand(const CommandOptions& options, Platform platform, const Console& console);

// What a command says when another installer works on the home: the reason on standard error
// and, with --json, `{"<resultKey>": false, "error": ...}` as the one object on standard output.
// The command then exits 1.
int reportBusyHome(const std::string& openclawHome, const CommandOptions& options,
                   const Console& console, std::string_view resultKey);

// The mark before a result line: a check, an exclamation mark or a cross, coloured when asked.
std::string statusMark(StepStatus status, bool colour);

class JsonOutput;
// A gateway restart as the commands that change the host report it: `"gatewayRestart"` with its
// status and output, or null when the gateway was left alone; and the line for a failed one.
void writeGatewayRestart(JsonOutput& json, const std::optional<ShellResult>& restart);
std::string gatewayRestartFailedLine(const ShellResult& restart);

}  // namespace pellix
