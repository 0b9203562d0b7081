#pragma once
// Runs one shell command in a child process with a two-variable environment and collects what it
// printed on both streams, in the order it printed it. Blocking and free of shared state: call it
// from any thread, typically a job handed to the platform's executor.

#include <string>
#include <string_view>

#include "../InstallerTypes.h"

namespace pellix {

// Runs `shell -c command` with exactly PATH=`childPath` and HOME=`home` in its environment, both
// output streams on one pipe and standard input inherited. Status is the exit code, or the number
// of the signal that ended the child; a child that cannot be started gives -1 and the system's
// message. Output that is not valid UTF-8 is returned as the empty string.
ShellResult runShell(const std::string& shell, const std::string& command,
                     const std::string& childPath, const std::string& home);

// Strict UTF-8: no overlong forms, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(std::string_view bytes);

}  // namespace pellix
