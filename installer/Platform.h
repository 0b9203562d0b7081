#pragma once
// The few things the installer takes from the machine it runs on, gathered in one value so tests
// can replace each of them. The defaults are the real ones; nothing else is read from the
// environment. Built on the UI thread; the functions are safe to call from any thread.

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "Task.h"

namespace pellix {

// Search path given to every child process: Apple-silicon Homebrew, Intel Homebrew, the system.
inline constexpr const char* kChildPath = "/opt/homebrew/bin:/usr/local/bin:/usr/bin:/bin";

// Reverse-domain prefix shared by the labels of the four launchd jobs.
inline constexpr const char* kJobLabelPrefix = "ai.pellix";

// Documentation site named in the message shown when OpenClaw is missing.
inline constexpr const char* kOpenClawDocsHost = "docs.openclaw.ai";

std::optional<std::string> processEnvironment(const std::string& name);
// $HOME when set, else the password database's entry for the current user.
std::string userHomeDirectory();
// The password database's name for the user the process runs as ("$USER" when it has none).
std::string currentUserName();
// Inside a macOS app bundle its Contents/Resources, elsewhere <executable's folder>/../share/
// pellix-installer; the empty string when the executable's own path cannot be found.
std::string applicationResourceDirectory();

// Which service manager keeps the agent's jobs: decided by asking the children's shell for
// `launchctl` (found: launchd, else systemd), or fixed, as the tests do.
enum class ServiceManagerChoice { automatic, launchd, systemd };

struct Platform {
    std::function<std::optional<std::string>(const std::string&)> environment = processEnvironment;
    std::function<std::string()> homeDirectory = userHomeDirectory;
    std::string resourceDirectory = applicationResourceDirectory();
    std::string shell = "/bin/zsh";
    std::string childPath = kChildPath;
    Executor runBlockingJob = runInline;
    ServiceManagerChoice serviceManager = ServiceManagerChoice::automatic;
    // How long a child may run before its process group is killed and it counts as failed.
    std::chrono::milliseconds commandTimeLimit{60'000};
    std::chrono::milliseconds gatewayRestartTimeLimit{120'000};
    // One line for the person at the terminal, outside the checklist: how to finish a step by
    // hand, which command timed out, what is missing on the machine. Called on the owning
    // thread; the window ignores it, the terminal front end prints it on standard error.
    std::function<void(const std::string&)> notice = [](const std::string&) {};
};

}  // namespace pellix
