#pragma once
// The seam between the install steps and whatever keeps the agent's jobs running: launchd on a
// Mac, the user's systemd manager on Linux, each rendering the neutral job table in its own
// format and talking to its manager through the view model's command runner. Owned by one view
// model and used on its thread only.

#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "InstallerTypes.h"
#include "Task.h"
#include "jobs/AgentJobs.h"

namespace pellix {

class Plan;

struct ManagerContext {
    std::function<Task<ShellResult>(std::string command, CommandKind kind, CommandEffect effect)>
        run;
    std::function<std::string()> home;
    std::function<std::optional<std::string>(const std::string&)> environment;
    std::function<void(const std::string&)> notice;
    // A dry run's plan, or none.
    std::function<Plan*()> plan;
    // The limits its commands run under: each manager sets its own.
    CommandKind kind = CommandKind::ordinary;

    // A question to the service manager, asked in a dry run too.
    Task<ShellResult> query(std::string command) const {
        return run(std::move(command), kind, CommandEffect::readsOnly);
    }
    // A change, planned in a dry run instead of made.
    Task<ShellResult> change(std::string command) const {
        return run(std::move(command), kind, CommandEffect::changes);
    }
};

// The managers' file changes: made, or in a dry run written into `plan` (the file's whole text
// or its diff against the one present, a folder that is not there yet, a removal of what is).
std::error_code writeJobFile(Plan* plan, const std::string& path, const std::string& text);
void createJobFolder(Plan* plan, const std::string& path);
std::error_code removeJobFile(Plan* plan, const std::string& path);

struct ServiceInstall {
    bool written = false;  // the job's files are on disk
    bool running = false;  // the manager says the job is there (launchd) or active (systemd)
};

class ServiceManager {
public:
    virtual ~ServiceManager() = default;
    // "launchd" or "systemd".
    virtual std::string name() const = 0;
    // Writes the always-on job, (re)loads it and asks the manager whether it runs.
    virtual Task<ServiceInstall> installAlwaysOnJob(AgentJob job, JobValues values) = 0;
    // Writes one scheduled job and hands it to the manager; false when nothing could be written.
    virtual Task<bool> installScheduledJob(AgentJob job, JobValues values) = 0;
    virtual Task<bool> isServiceRunning() = 0;
    virtual Task<JobState> describeJob(AgentJob job) = 0;
    // Stops the job, unloads it and deletes its files; a job that is not there counts as removed.
    virtual Task<JobRemoval> removeJob(AgentJob job) = 0;
    // The files that installing the job writes.
    virtual std::vector<std::string> jobFiles(const AgentJob& job) const = 0;
};

std::unique_ptr<ServiceManager> makeLaunchdManager(ManagerContext context);
std::unique_ptr<ServiceManager> makeSystemdManager(ManagerContext context);

// All four jobs, in install order: the service, then the three scanners.
Task<std::vector<JobState>> describeAgentJobs(ServiceManager& manager);
// Stops and removes all four; a job that is not there counts as removed.
Task<std::vector<JobRemoval>> removeAgentJobs(ServiceManager& manager);

}  // namespace pellix
