#pragma once
// The four commands, one file each, over one view model that the caller owns. Each prints on the
// console (with --json: exactly one JSON object on standard output) and returns its exit status.
// Main thread only.

#include <optional>
#include <string>
#include <string_view>

#include "Cli.h"
#include "CommandLine.h"
#include "HomeLock.h"
#include "InstallerTypes.h"
#include "InstallerViewModel.h"

namespace pellix {

int runInstall(const CommandOptions& options, InstallerViewModel& model, const Console& console);
int runStatus(const CommandOptions& options, InstallerViewModel& model, const Console& console);
int runUninstall(const CommandOptions& options, InstallerViewModel& model, const Console& console);
int runRestoreConfig(const CommandOptions& options, InstallerViewModel& model,
                     const Console& console);

// Takes the per-home lock into `lock`. When another installer holds it, says so on standard error
// (with --json also as the one object on standard output: `{"<resultKey>": false, "error": ...}`)
// and returns false: the command then changes nothing and exits 1.
bool lockHome(const std::string& openclawHome, std::optional<HomeLock>& lock,
              const CommandOptions& options, const Console& console, std::string_view resultKey);

// The mark before a result line: a check, an exclamation mark or a cross, coloured when asked.
std::string statusMark(StepStatus status, bool colour);

}  // namespace pellix
