#pragma once
// The command line's front door: parses the arguments and runs one command over the installer
// core, writing to the given streams. The binary and the in-process tests both come through here.
// Main thread only (the thread that owns the view model the command creates).

#include <functional>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "CommandLine.h"
#include "Platform.h"

namespace pellix {

struct Console {
    std::ostream& out;
    std::ostream& err;
    bool colour = false;  // marks on standard output may be coloured (a terminal, no NO_COLOR)
};

// Everything but the window: help, version and the four commands. Usage errors print on `err`
// and give ExitCode::usage; Command::window is one too here, since there is no window to open.
int runCommandLine(const std::vector<std::string>& arguments, Platform platform,
                   const Console& console);
// The same for arguments already parsed.
int executeCommand(const CommandOptions& options, Platform platform, const Console& console);

// The line to print instead of opening the window where no display can be opened, else nothing.
// Only Linux and the other X11/Wayland systems can tell; macOS always has its window server.
std::optional<std::string> noDisplayMessage(
    const std::function<std::optional<std::string>(const std::string&)>& environment);

}  // namespace pellix
