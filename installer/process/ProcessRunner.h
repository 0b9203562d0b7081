#pragma once
// Runs one shell command in a child process with a two-variable environment and collects what it
// printed on both streams, in the order it printed it. Blocking and free of shared state: call it
// from any thread, typically a job handed to the platform's executor.

#include <chrono>
#include <string>
#include <string_view>
#include <vector>

#include "InstallerTypes.h"
#include "process/Utf8.h"

namespace pellix {

// Runs `shell -c command` with exactly PATH=`childPath` and HOME=`home` in its environment, both
// output streams on one pipe and standard input inherited. Status is the exit code, or the number
// of the signal that ended the child; a child that cannot be started gives -1 and the system's
// message. Output that is not valid UTF-8 is returned as the empty string.
ShellResult runShell(const std::string& shell, const std::string& command,
                     const std::string& childPath, const std::string& home);

struct ChildLimits {
    // NAME=value pairs given to the child besides PATH and HOME (only the service manager's
    // commands get any).
    std::vector<std::string> extraEnvironment;
    // Zero waits as long as the child runs.
    std::chrono::milliseconds timeLimit{0};
};

struct ChildOutcome {
    ShellResult result;
    bool timedOut = false;  // the time limit passed and the child's process group was killed
    bool launchFailed = false;
};

// runShell with limits. The child leads a process group of its own, so on expiry everything it
// started goes with it; a child that exits in time keeps its background processes.
ChildOutcome runChild(const std::string& shell, const std::string& command,
                      const std::string& childPath, const std::string& home,
                      const ChildLimits& limits);

// `text` as one word of a POSIX shell line: in single quotes, each quote of its own escaped.
std::string shellQuoted(const std::string& text);

}  // namespace pellix
