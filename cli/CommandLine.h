#pragma once
// The command line: one parser, one usage text per command and one table of exit statuses for
// `install`, `status`, `configure`, `uninstall` and `restore-config`. Pure functions; any thread.

#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "Choices.h"

namespace pellix {

// What a script can rely on, for every command.
enum class ExitCode : int { done = 0, failed = 1, usage = 2, notInstalled = 3 };

inline int toInt(ExitCode code) {
    return static_cast<int>(code);
}

enum class Command { window, help, version, install, status, uninstall, restoreConfig, configure };

struct CommandOptions {
    Command command = Command::window;
    bool help = false;  // the command's own help was asked for
    bool json = false;
    bool purge = false;
    // Plan only: print what the run would do and change nothing.
    bool dryRun = false;
    std::string scanPreset{kDefaultScanPreset};
    std::string modelChoice{kDefaultModel};
    // Whether --scan or --model was given (configure changes only those).
    bool scanGiven = false;
    bool modelGiven = false;
    // Root acting for this user (--user NAME): the commands only, never the window.
    std::optional<std::string> user = std::nullopt;
};

struct UsageError {
    Command command;  // whose usage to point to; Command::help for the program's
    std::string message;
};

// Arguments after the program name. No arguments at all is the window; `--headless ...` is
// `install ...`, as it was before the commands existed.
std::variant<CommandOptions, UsageError> parseCommandLine(
    const std::vector<std::string>& arguments);

// The full help of a command (Command::help: the program's), as printed by --help.
std::string helpText(Command command);
// The one-line synopsis that starts the help text.
std::string synopsis(Command command);
// What a usage error prints on standard error: the message, the synopsis, and where help is.
std::string usageErrorText(const UsageError& error);

// The name as typed on the command line ("restore-config"); empty for the window and help.
std::string commandName(Command command);

}  // namespace pellix
