// Entry point: the window when started without arguments, else the command line (install,
// status, configure, uninstall, restore-config), run by root for a user with --user. A command
// line that is not understood never opens the window, and neither does a machine without a
// display.

#include <unistd.h>

#include <cstdlib>
#include <iostream>
#include <string>
#include <vector>

#include "Cli.h"
#include "process/ActAsUser.h"
#if defined(PELLIX_WITH_GUI)
#include "PellixInstallerApp.h"
#endif

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const auto parsed = pellix::parseCommandLine(arguments);
    if (const auto* error = std::get_if<pellix::UsageError>(&parsed)) {
        std::cerr << pellix::usageErrorText(*error);
        return pellix::toInt(pellix::ExitCode::usage);
    }
    pellix::CommandOptions options = std::get<pellix::CommandOptions>(parsed);
    // Root acting for a user becomes that user before anything is read or written.
    if (options.user && !options.help) {
        if (const auto failure = pellix::actAsUser(*options.user)) {
            std::cerr << failure->message << '\n';
            const bool refused = failure->kind != pellix::ActAsUserFailure::Kind::notDropped;
            return pellix::toInt(refused ? pellix::ExitCode::usage : pellix::ExitCode::failed);
        }
    }
    if (options.command == pellix::Command::window) {
#if defined(PELLIX_WITH_GUI)
        // Qt would abort (and dump core) on a platform plugin it cannot start.
        if (const auto message = pellix::noDisplayMessage(pellix::processEnvironment)) {
            std::cerr << *message << '\n';
            return pellix::toInt(pellix::ExitCode::usage);
        }
        return pellix::runWindow(argc, argv);
#else
        // A build without the window installs, as it always has.
        options.command = pellix::Command::install;
#endif
    }
    const bool colour = ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
    return pellix::executeCommand(options, pellix::Platform{}, {std::cout, std::cerr, colour});
}
