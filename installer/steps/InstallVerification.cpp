// The last install step: are the agent's key files in place, and does the service manager report
// the service?
// Never worse than a warning.

#include <filesystem>
#include <string_view>
#include <system_error>

#include "../InstallerViewModel.h"
#include "../RequiredAgentFiles.h"
#include "ServiceManager.h"

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
    // Asked even when files are missing.
    ServiceManager* manager = co_await serviceManager();
    const bool serviceRunning = co_await manager->isServiceRunning();

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
