#include "lifecycle/AgentStatus.h"

#include <algorithm>
#include <filesystem>

#include "OpenClawCommands.h"
#include "files/AgentTree.h"
#include "jobs/ServiceManager.h"
#include "steps/RequiredAgentFiles.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

void nameJobProblems(const JobState& job, std::vector<std::string>& problems) {
    if (!job.fileInstalled) problems.push_back(job.label + ": job file missing");
    if (!job.loaded) {
        problems.push_back(job.label + ": not loaded");
    } else if (job.alwaysOn && !job.running) {
        problems.push_back(job.label + ": loaded but not running");
    }
}

// What the receipt tells: shipped files changed or gone, the data folder gone, a reinstall cut
// short, the receipt itself gone or unreadable.
void nameInstallProblems(AgentStatus& status) {
    auto& problems = status.problems;
    for (const std::string& file : status.drift.modified) {
        problems.push_back("agent files: " + file + " was changed since the install");
    }
    for (const std::string& file : status.drift.missing) {
        if (std::find(status.missingFiles.begin(), status.missingFiles.end(), file) ==
            status.missingFiles.end()) {
            problems.push_back("agent files: " + file + " is missing");
        }
    }
    if (status.pellixDir && !status.opsPresent) {
        problems.push_back("agent data: " + *status.pellixDir + "/ops is missing");
    }
    if (status.setAsideTree) {
        problems.push_back("agent files: a reinstall was cut short and left " +
                           *status.setAsideTree + "; run install to finish it");
    }
    if (status.receipt.state == ReceiptState::missing) {
        problems.push_back("receipt: " + status.receiptFile + " is missing");
    } else if (status.receipt.state == ReceiptState::unreadable) {
        problems.push_back("receipt: " + status.receiptFile + " cannot be read; ignored");
    }
}

void nameProblems(AgentStatus& status) {
    auto& problems = status.problems;
    if (!status.pellixDir) {
        problems.push_back("agent files: no agents/pellix-unified in a workspace-* folder of " +
                           status.openclawHome);
    }
    for (const std::string& file : status.missingFiles) {
        problems.push_back("agent files: " + file + " is missing");
    }
    if (!status.config.readable) {
        problems.push_back("openclaw.json: cannot be read as one JSON object (" +
                           status.configFile + ")");
    } else {
        if (!status.config.registered) problems.push_back("openclaw.json: no Pellix agent entry");
        // Without a main agent there is no allowlist to be in: the install says "Already in
        // allowlist" then, and so nothing is missing.
        if (status.config.hasMainAgent && !status.config.allowlisted) {
            problems.push_back(
                "openclaw.json: \"pellix\" is not in the main agent's subagents.allowAgents");
        }
    }
    for (const JobState& job : status.jobs) nameJobProblems(job, problems);
    if (!status.sessionStorePresent) {
        problems.push_back("session store: " + status.sessionStore + " is missing");
    }
    if (status.validation.rejected()) {
        problems.push_back("openclaw config validate: " + status.validation.reason);
    }
    nameInstallProblems(status);
}

}  // namespace

bool AgentStatus::installed() const {
    const bool anyJob = std::any_of(jobs.begin(), jobs.end(), [](const JobState& job) {
        return job.fileInstalled || job.loaded;
    });
    return pellixDir || config.registered || config.allowlisted || anyJob;
}

std::optional<std::string> AgentStatus::agentVersion() const {
    return receipt.receipt ? receipt.receipt->agentVersion : std::nullopt;
}

bool AgentStatus::upgradeAvailable() const {
    return shippedAgentVersion && agentVersion() && *shippedAgentVersion != *agentVersion();
}

namespace {

// What the file system says, gathered in one blocking job: a large openclaw.json takes a while.
AgentStatus lookAtFiles(const OpenClawLayout& layout, const std::string& bundleDir) {
    AgentStatus status;
    status.openclawHome = layout.openclawHome();
    status.configFile = layout.configFile();
    status.pellixDir = layout.installedPellixDir();
    if (status.pellixDir) {
        for (std::string_view relative : missingAgentFiles(*status.pellixDir)) {
            status.missingFiles.emplace_back(relative);
        }
    }
    status.config = inspectPellixConfig(status.configFile);
    status.sessionStore = layout.sessionsDirectory();
    std::error_code error;
    status.sessionStorePresent = fs::is_directory(fs::path(status.sessionStore), error);
    status.backup = findConfigBackup(status.configFile);
    status.receiptFile = receiptPath(status.openclawHome);
    status.receipt = readReceipt(status.receiptFile);
    if (status.pellixDir) {
        status.opsPresent = fs::is_directory(fs::path(*status.pellixDir + "/ops"), error);
        if (status.receipt.receipt)
            status.drift = driftOf(*status.receipt.receipt, *status.pellixDir);
    }
    if (const std::optional<std::string> workspace = layout.workspace()) {
        const std::string pellixDir =
            status.pellixDir.value_or(OpenClawLayout::pellixDirIn(*workspace));
        if (setAsideTreeLeft(pellixDir)) status.setAsideTree = setAsidePath(pellixDir);
    }
    status.shippedAgentVersion = bundleVersion(bundleDir);
    return status;
}

}  // namespace

Task<AgentStatus> gatherAgentStatus(const OpenClawLayout& layout, Host& host, bool askTheHost) {
    auto job = [&layout, bundleDir = host.platform().resourceDirectory + "/pellix-bundle"] {
        return lookAtFiles(layout, bundleDir);
    };
    AgentStatus status = co_await runBlocking(host.platform().runBlockingJob, std::move(job));
    ServiceManager* manager = co_await host.serviceManager();
    status.serviceManager = manager->name();
    status.jobs = co_await describeAgentJobs(*manager);
    if (!status.installed()) {
        status.validation = {HostVerdict::Kind::notChecked, "not installed"};
        co_return status;
    }
    if (askTheHost) {
        auto ask = [&host, configFile = status.configFile] {
            return openclawValidator(host)(configFile);
        };
        status.validation = co_await runBlocking(host.platform().runBlockingJob, std::move(ask));
    }
    nameProblems(status);
    co_return status;
}

}  // namespace pellix
