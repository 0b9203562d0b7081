#pragma once
// The four commands, one file each, over one view model that the caller owns. Each prints on the
// console (with --json: exactly one JSON object on standard output) and returns its exit status.
// Main thread only.

#include <string>

#include "Cli.h"
#include "CommandLine.h"
#include "InstallerTypes.h"
#include "InstallerViewModel.h"

namespace pellix {

int runInstall(const CommandOptions& options, InstallerViewModel& model, const Console& console);
int runStatus(const CommandOptions& options, InstallerViewModel& model, const Console& console);
int runUninstall(const CommandOptions& options, InstallerViewModel& model, const Console& console);
int runRestoreConfig(const CommandOptions& options, InstallerViewModel& model,
                     const Console& console);

// The mark before a result line: a check, an exclamation mark or a cross, coloured when asked.
std::string statusMark(StepStatus status, bool colour);

}  // namespace pellix
