// The three periodic jobs that run the agent's scanners. A job counts as installed once its files
// are written and handed to the service manager: whether the manager accepted them is not asked.

#include "InstallWorkers.h"
#include "jobs/ServiceManager.h"

namespace pellix::steps {

Task<StepResult> installScheduledScanners(WorkerContext context, std::string pellixDir) {
    ServiceManager* manager = co_await context.host.serviceManager();
    int installed = 0;
    for (const AgentJob& job : kScannerJobs) {
        JobValues values{pellixDir, kBashPath, context.host.homeDirectory(),
                         context.layout.openclawHome()};
        // Looked up right before the one job that needs it, whatever became of the others.
        if (job.runByPython) values.interpreter = co_await context.host.findPython3();
        if (co_await manager->installScheduledJob(job, values)) ++installed;
    }
    if (installed == static_cast<int>(kScannerJobs.size())) {
        co_return StepResult{StepStatus::success, "3 scheduled scanners active"};
    }
    co_return StepResult{StepStatus::warning, std::to_string(installed) + "/3 scanners installed"};
}

}  // namespace pellix::steps
