// The always-on service: one job that runs the agent's watcher script from login on and is
// restarted whenever it exits, kept by whichever service manager this machine has. Its worst
// outcome is a warning; the install goes on regardless.

#include "InstallWorkers.h"
#include "jobs/ServiceManager.h"

namespace pellix::steps {

Task<StepResult> installAlwaysOnService(WorkerContext context, std::string pellixDir) {
    ServiceManager* manager = co_await context.host.serviceManager();
    const std::string python = co_await context.host.findPython3();
    JobValues values{pellixDir, python, context.host.homeDirectory(),
                     context.layout.openclawHome()};
    const ServiceInstall installed = co_await manager->installAlwaysOnJob(kServiceJob, values);
    if (!installed.written) {
        co_return StepResult{StepStatus::warning, "Could not write plist — install manually"};
    }
    if (installed.running) {
        co_return StepResult{StepStatus::success,
                             "Always-on service running (30s session polling)"};
    }
    co_return StepResult{StepStatus::warning,
                         "Service installed but may need login/restart to activate"};
}

}  // namespace pellix::steps
