// The last install step: are the agent's key files in place, and does the service manager report
// the service? Never worse than a warning.

#include <filesystem>
#include <string_view>
#include <system_error>

#include "InstallWorkers.h"
#include "jobs/ServiceManager.h"
#include "steps/RequiredAgentFiles.h"

namespace pellix::steps {

Task<StepResult> verifyInstall(WorkerContext context, std::string pellixDir) {
    const auto missing = missingAgentFiles(pellixDir).size();
    // Asked even when files are missing.
    ServiceManager* manager = co_await context.host.serviceManager();
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

}  // namespace pellix::steps
