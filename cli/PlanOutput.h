#pragma once
// What a dry run prints: the plan of the run, step by step, with openclaw.json's unified diff
// last and unindented (so that `patch` finds it), or, with --json, the one object that holds the
// steps, the changes and whether anything would change. Main thread only.

#include <optional>
#include <string>
#include <string_view>

#include "Cli.h"
#include "CommandLine.h"
#include "plan/Plan.h"

namespace pellix {

// Prints the plan (or its JSON), and `error` on standard error when the real run would fail;
// returns `exitCode`, the real run's.
int reportPlan(const Console& console, const CommandOptions& options, const Plan& plan,
               ExitCode exitCode, const std::optional<std::string>& error);

// The JSON object alone.
std::string planJson(const Plan& plan, std::string_view command,
                     const std::optional<std::string>& error);

}  // namespace pellix
