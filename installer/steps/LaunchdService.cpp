// The always-on service: one job that runs the agent's watcher script from login on and is
// restarted whenever it exits, kept by whichever service manager this machine has. Its worst
// outcome is a warning; the install goes on regardless.

#include "../InstallerViewModel.h"
#include "ServiceManager.h"

namespace pellix {

Task<StepResult> InstallerViewModel::installLaunchdService(std::string pellixDir) {
    ServiceManager* manager = co_await serviceManager();
    const std::string python = co_await findPython3();
    JobValues values{pellixDir, python, homeDirectory(), openclawHome()};
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

}  // namespace pellix
