// The last install step: are the agent's key files in place, and does launchd list the service?
// Never worse than a warning.

#include <filesystem>
#include <string_view>
#include <system_error>

#include "../InstallerViewModel.h"
#include "../RequiredAgentFiles.h"

namespace pellix {

namespace {

// Like the platform's existence test: links are followed, and a directory counts too.
bool existsAt(const std::string& path) {
    std::error_code error;
    return std::filesystem::exists(std::filesystem::path(path), error);
}

}  // namespace

Task<StepResult> InstallerViewModel::verifyInstall(std::string pellixDir) {
    int missing = 0;
    for (std::string_view relative : kRequiredAgentFiles) {
        if (!existsAt(pellixDir + "/" + std::string(relative))) ++missing;
    }
    // Asked even when files are missing; a shell that cannot start prints no label, so the
    // service then reads as not running.
    const ShellResult listing = co_await shellCommand("launchctl list | grep pellix-service");
    const bool serviceRunning = listing.output.find("pellix-service") != std::string::npos;

    if (missing > 0) {
        co_return StepResult{StepStatus::warning,
                             std::to_string(missing) + " files missing — partial install"};
    }
    if (serviceRunning) {
        co_return StepResult{StepStatus::success,
                             "All files verified, service running — Pellix is watching 🧠"};
    }
    co_return StepResult{StepStatus::warning, "Files OK, service may need restart"};
}

}  // namespace pellix
