// Which service manager keeps the agent's jobs, and what the status and uninstall commands ask of
// it: the state of each job, and their removal.

#include "../InstallerViewModel.h"
#include "ServiceManager.h"

namespace pellix {

Task<ServiceManager*> InstallerViewModel::serviceManager() {
    if (serviceManager_) co_return serviceManager_.get();
    ServiceManagerChoice choice = platform().serviceManager;
    if (choice == ServiceManagerChoice::automatic) {
        // Asked of the children's own shell, so a PATH its start-up files set counts too.
        const ShellResult found = co_await shellCommand("command -v launchctl");
        choice = found.status == 0 && !found.output.empty() ? ServiceManagerChoice::launchd
                                                            : ServiceManagerChoice::systemd;
    }
    // The runner lambda only forwards: a coroutine lambda would not outlive its first await.
    ManagerContext context{
        [this](std::string command, CommandKind kind) {
            return runCommand(std::move(command), kind);
        },
        [this] { return homeDirectory(); },
        platform().environment,
        platform().notice,
    };
    if (choice == ServiceManagerChoice::launchd) {
        serviceManager_ = makeLaunchdManager(std::move(context));
    } else {
        serviceManager_ = makeSystemdManager(std::move(context));
    }
    co_return serviceManager_.get();
}

Task<std::string> InstallerViewModel::serviceManagerName() {
    ServiceManager* manager = co_await serviceManager();
    co_return manager->name();
}

Task<std::vector<JobState>> InstallerViewModel::describeJobs() {
    ServiceManager* manager = co_await serviceManager();
    std::vector<JobState> jobs;
    for (const AgentJob& job : kAgentJobs) jobs.push_back(co_await manager->describeJob(job));
    co_return jobs;
}

Task<std::vector<JobRemoval>> InstallerViewModel::removeJobs() {
    ServiceManager* manager = co_await serviceManager();
    std::vector<JobRemoval> removals;
    for (const AgentJob& job : kAgentJobs) removals.push_back(co_await manager->removeJob(job));
    co_return removals;
}

}  // namespace pellix
