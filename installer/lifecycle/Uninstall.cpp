#include "lifecycle/Uninstall.h"

#include <filesystem>
#include <system_error>

#include "OpenClawCommands.h"
#include "files/AgentTree.h"
#include "files/HomeLock.h"
#include "jobs/ServiceManager.h"
#include "lifecycle/AgentStatus.h"
#include "lifecycle/Receipt.h"
#include "plan/Plan.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

// What a dry run says of a tree it would remove.
std::string treeRemoval(const std::string& tree) {
    const FileCount count = countFilesBelow(tree);
    return "remove the agent's tree: " + describeFiles(count.files, count.bytes);
}

std::vector<PartResult> removeAgentTrees(const OpenClawLayout& layout, Plan* plan) {
    std::vector<PartResult> results;
    if (plan != nullptr) {
        for (const std::string& tree : layout.installedPellixDirs()) {
            plan->remove(tree, treeRemoval(tree));
            results.push_back({tree, StepStatus::success, "removed"});
        }
        return results;
    }
    // One tree per workspace at most; the bound only guards against a tree that will not go.
    for (int round = 0; round < 64; ++round) {
        const auto pellixDir = layout.installedPellixDir();
        if (!pellixDir) break;
        std::error_code error;
        // remove_all removes a symbolic link itself, never what it points to.
        fs::remove_all(fs::path(*pellixDir), error);
        if (error) {
            results.push_back({*pellixDir, StepStatus::failed, error.message()});
            break;
        }
        results.push_back({*pellixDir, StepStatus::success, "removed"});
    }
    return results;
}

// What the receipt lists that discovery did not find (job files written where the manager's
// folder was then, a tree in another workspace, a reinstall cut short), then the receipt itself,
// whose removal is returned. The backup of openclaw.json stays.
std::optional<PartResult> removeRecordedLeftovers(const OpenClawLayout& layout,
                                                  std::vector<PartResult>& results, Plan* plan) {
    const std::string path = receiptPath(layout.openclawHome());
    const ReceiptRead read = readReceipt(path);
    std::vector<std::string> leftovers;
    if (read.receipt) {
        for (const std::string& file : read.receipt->jobFiles) {
            if (fs::path(file).filename().string().starts_with("ai.pellix.")) {
                leftovers.push_back(file);
            }
        }
        if (read.receipt->pellixDir.ends_with("/agents/pellix-unified")) {
            leftovers.push_back(read.receipt->pellixDir);
            leftovers.push_back(setAsidePath(read.receipt->pellixDir));
        }
    }
    for (const std::string& leftover : leftovers) {
        std::error_code error;
        if (!fs::exists(fs::symlink_status(fs::path(leftover), error))) continue;
        if (plan != nullptr) {
            if (!plan->lists(leftover)) plan->remove(leftover, "remove (listed in the receipt)");
            continue;
        }
        fs::remove_all(fs::path(leftover), error);
        results.push_back({leftover, error ? StepStatus::failed : StepStatus::success,
                           error ? error.message() : "removed (listed in the receipt)"});
    }
    std::error_code error;
    if (!fs::exists(fs::symlink_status(fs::path(path), error))) return std::nullopt;
    if (plan != nullptr) {
        plan->remove(path, "remove the receipt");
    } else {
        fs::remove(fs::path(path), error);
    }
    return PartResult{path, error ? StepStatus::failed : StepStatus::success,
                      error ? error.message() : "removed"};
}

PartResult handleSessionStore(const std::string& store, bool purge, Plan* plan) {
    std::error_code error;
    const bool present = fs::exists(fs::symlink_status(fs::path(store), error));
    if (!present) return {store, StepStatus::success, "not there, nothing to delete or keep"};
    if (!purge) return {store, StepStatus::success, "kept (--purge deletes it)"};
    if (plan != nullptr) {
        plan->remove(store, "delete the session store");
        return {store, StepStatus::success, std::string(kSessionStoreDeleted)};
    }
    fs::remove_all(fs::path(store), error);
    if (error) return {store, StepStatus::failed, "could not be deleted: " + error.message()};
    std::error_code ignored;
    // The agent's folder goes too, but only when the store was all it held.
    fs::remove(fs::path(store).parent_path(), ignored);
    return {store, StepStatus::success, std::string(kSessionStoreDeleted)};
}

struct RemovedFiles {
    std::vector<PartResult> agentFiles;
    std::optional<PartResult> receipt;
    ConfigRemovalOutcome config;
};

}  // namespace

std::vector<std::string> UninstallReport::problems() const {
    std::vector<std::string> found;
    const auto collect = [&found](const PartResult& part) {
        if (part.status == StepStatus::failed) found.push_back(part.name + ": " + part.detail);
    };
    for (const PartResult& part : jobs) collect(part);
    for (const PartResult& part : agentFiles) collect(part);
    if (config == ConfigRemoval::unreadable) {
        found.push_back("openclaw.json: cannot be read as JSON; left as it was");
    } else if (config == ConfigRemoval::writeFailed) {
        found.push_back("openclaw.json: could not be written; left as it was");
    } else if (config == ConfigRemoval::rejected) {
        found.push_back("openclaw.json: OpenClaw rejects it without Pellix (" +
                        configVerdict.reason + "); left as it was");
    }
    if (receipt) collect(*receipt);
    collect(sessionStore);
    return found;
}

Task<UninstallReport> uninstallAgent(const OpenClawLayout& layout, Host& host,
                                     UninstallOptions options) {
    UninstallReport report;
    std::optional<HomeLock> lock;
    if (HomeLock::tryAcquire(layout.openclawHome(), lock) == HomeLock::Outcome::busy) {
        report.homeBusy = true;
        co_return report;
    }
    report.wasInstalled = (co_await gatherAgentStatus(layout, host, false)).installed();
    Plan* plan = host.plan();
    if (plan != nullptr) plan->beginStep("Removing the agent");
    if (report.wasInstalled) {
        ServiceManager* manager = co_await host.serviceManager();
        const std::vector<JobRemoval> removals = co_await removeAgentJobs(*manager);
        for (const JobRemoval& removal : removals) {
            report.jobs.push_back({removal.label,
                                   removal.removed ? StepStatus::success : StepStatus::failed,
                                   removal.removed ? "stopped and removed" : removal.detail});
        }
        auto removeFiles = [&layout, &host, plan] {
            std::vector<PartResult> files = removeAgentTrees(layout, plan);
            std::optional<PartResult> receipt = removeRecordedLeftovers(layout, files, plan);
            // A home without openclaw.json has no entry to take out: nothingToRemove.
            return RemovedFiles{
                std::move(files), std::move(receipt),
                removePellixFromConfig(layout.configFile(), openclawValidator(host), plan)};
        };
        RemovedFiles removed =
            co_await runBlocking(host.platform().runBlockingJob, std::move(removeFiles));
        report.agentFiles = std::move(removed.agentFiles);
        report.receipt = std::move(removed.receipt);
        report.config = removed.config.outcome;
        report.configVerdict = removed.config.verdict;
    }
    report.sessionStore = handleSessionStore(layout.sessionsDirectory(), options.purge, plan);
    // Only a changed host needs its gateway to pick up the change.
    if (report.wasInstalled) report.gatewayRestart = co_await host.restartOpenClawGateway();
    co_return report;
}

std::string_view toString(ConfigRemoval removal) {
    switch (removal) {
        case ConfigRemoval::removed:
            return "removed";
        case ConfigRemoval::restoredBackup:
            return "restoredBackup";
        case ConfigRemoval::nothingToRemove:
            return "nothingToRemove";
        case ConfigRemoval::unreadable:
            return "unreadable";
        case ConfigRemoval::rejected:
            return "rejected";
        default:
            return "writeFailed";
    }
}

}  // namespace pellix
