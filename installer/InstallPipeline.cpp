// The install pipeline: eleven checklist rows worked through in order, each reported through
// updateStep. Only this file decides which outcomes stop the run.

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "InstallerViewModel.h"
#include "OpenClawCommands.h"
#include "files/AgentTree.h"
#include "files/FileIo.h"
#include "files/HomeLock.h"
#include "plan/Plan.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

enum Row : int {
    openclawCheck,
    workspaceDetection,
    agentFiles,
    sessionStore,
    registration,
    allowlist,
    opsDirectories,
    alwaysOnService,
    scheduledScanners,
    gatewayRestart,
    verification,
};

constexpr std::string_view kStepLabels[] = {
    "Checking OpenClaw installation",
    "Detecting workspace",
    "Installing Pellix agent files",
    "Creating agent session store",
    "Registering Pellix in openclaw.json",
    "Adding Pellix to spawn allowlist",
    "Setting up ops directories",
    "Installing always-on service",
    "Installing scheduled scanners",
    "Restarting OpenClaw gateway",
    "Verifying installation",
};

// How beginStep ends a run whose stop was asked for; caught by runGuarded only.
struct InstallStopped {};

std::string lastComponent(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

void InstallerViewModel::startInstall() {
    record_ = {};
    setPhase(InstallerPhase::installing);
    std::vector<InstallStep> rows;
    rows.reserve(std::size(kStepLabels));
    for (std::string_view label : kStepLabels) rows.emplace_back(std::string(label));
    setSteps(std::move(rows));
    runGuarded().detach();
}

Task<void> InstallerViewModel::runGuarded() {
    // Held in the coroutine's frame, so for the whole run however it ends. A home that cannot be
    // opened has nothing to protect: the OpenClaw check then stops the run at its first row.
    std::optional<HomeLock> lock;
    if (HomeLock::tryAcquire(openclawHome(), lock) == HomeLock::Outcome::busy) {
        setErrorMessage(anotherInstallerRunningMessage(openclawHome()));
        setPhase(InstallerPhase::error);
        co_return;
    }
    stopRequested_ = false;
    // Workers report failures as results; this catches what none of them expected (memory
    // running out, say) so that a run never stays on the installing screen.
    std::string unexpected;
    bool stopped = false;
    try {
        co_await runInstall();
    } catch (const InstallStopped&) {
        stopped = true;
    } catch (const std::exception& error) {
        unexpected = error.what();
    } catch (...) {
        unexpected = "unknown error";
    }
    stopRequested_ = false;
    if (stopped) {
        setErrorMessage("The installation was stopped before it finished.");
        setPhase(InstallerPhase::error);
    } else if (!unexpected.empty()) {
        setErrorMessage("Installation stopped unexpectedly: " + unexpected);
        setPhase(InstallerPhase::error);
    }
}

Task<void> InstallerViewModel::runInstall() {
    if (!checkOpenClaw()) co_return;
    const std::optional<std::string> workspacePath = detectWorkspace();
    if (!workspacePath) co_return;
    const std::string pellixDir = OpenClawLayout::pellixDirIn(*workspacePath);
    if (!co_await installAgentFiles(pellixDir)) co_return;
    createSessionStore();
    if (!co_await registerAgentStep()) co_return;
    beginStep(allowlist);
    finishStep(allowlist, co_await addToAllowlist(configFile()));
    createOpsDirectories(pellixDir);
    beginStep(alwaysOnService);
    finishStep(alwaysOnService, co_await installLaunchdService(pellixDir));
    beginStep(scheduledScanners);
    finishStep(scheduledScanners, co_await installScheduledScanners(pellixDir));
    co_await restartGateway();
    beginStep(verification);
    finishStep(verification, co_await verifyInstall(pellixDir));
    co_await writeInstallReceipt(*workspacePath, pellixDir);
    setProgress(1.0);
    setPhase(InstallerPhase::complete);
}

void InstallerViewModel::beginStep(int row) {
    // Every row starts here, so a stop asked for meanwhile ends the run between two rows, never
    // inside one; runGuarded turns it into the error phase.
    if (stopRequested_) throw InstallStopped{};
    if (Plan* plan = host_.plan()) plan->beginStep(std::string(kStepLabels[row]));
    updateStep(row, StepStatus::running);
}

void InstallerViewModel::finishStep(int row, const StepResult& result) {
    updateStep(row, result.status, result.detail);
}

void InstallerViewModel::stopWithError(int row, const std::string& detail, std::string message) {
    updateStep(row, StepStatus::failed, detail);
    setErrorMessage(std::move(message));
    setPhase(InstallerPhase::error);
}

bool InstallerViewModel::checkOpenClaw() {
    beginStep(openclawCheck);
    if (!openclawExists()) {
        stopWithError(openclawCheck, "OpenClaw not found at " + openclawHome(),
                      std::string("OpenClaw must be installed first. Visit ") + kOpenClawDocsHost +
                          " for setup instructions.");
        return false;
    }
    finishStep(openclawCheck, {StepStatus::success, openclawHome()});
    return true;
}

std::optional<std::string> InstallerViewModel::detectWorkspace() {
    beginStep(workspaceDetection);
    std::optional<std::string> path = workspace();
    if (!path) {
        stopWithError(workspaceDetection, "No workspace-* directory found",
                      "No OpenClaw workspace found. Create one first: openclaw init");
        return std::nullopt;
    }
    finishStep(workspaceDetection, {StepStatus::success, lastComponent(*path)});
    return path;
}

Task<bool> InstallerViewModel::installAgentFiles(std::string pellixDir) {
    beginStep(agentFiles);
    const std::string bundleSource = host_.platform().resourceDirectory + "/pellix-bundle";
    // Without a bundle, an earlier tree that a killed reinstall left aside goes back first.
    if (!somethingExistsAt(bundleSource) && setAsideTreeLeft(pellixDir)) {
        if (Plan* plan = host_.plan()) {
            plan->add(PlannedChange::Kind::agentFiles, setAsidePath(pellixDir),
                      "finish the reinstall that was cut short");
            finishStep(agentFiles, {StepStatus::success, "Already present at " + pellixDir});
            co_return true;
        }
        recoverSetAsideTree(pellixDir);
    }
    if (Plan* plan = host_.plan(); plan && somethingExistsAt(bundleSource)) {
        plannedTreeFolders_ = planTreeReplacement(*plan, bundleSource, pellixDir).folders;
        finishStep(agentFiles, {StepStatus::success, "Installed from app bundle"});
    } else if (somethingExistsAt(bundleSource)) {
        // An earlier install's files are replaced, not merged, and its ops/ is carried across;
        // off the UI thread, because a large tree takes a while.
        auto replaceTree = [bundleSource, pellixDir] {
            return replaceAgentTree(bundleSource, pellixDir);
        };
        TreeReplacement replaced =
            co_await runBlocking(host_.platform().runBlockingJob, std::move(replaceTree));
        if (!replaced) {
            stopWithError(agentFiles, replaced.describe(),
                          "Failed to copy agent files: " + replaced.describe());
            co_return false;
        }
        record_.keptBeside = std::move(replaced.keptBeside);
        finishStep(agentFiles, {StepStatus::success, "Installed from app bundle"});
    } else if (somethingExistsAt(pellixDir)) {
        finishStep(agentFiles, {StepStatus::success, "Already present at " + pellixDir});
    } else {
        stopWithError(agentFiles, "No pellix-bundle in app and no existing install",
                      "Pellix agent files not found. Place them at " + pellixDir +
                          " or rebuild the installer with the bundle.");
        co_return false;
    }
    co_return true;
}

void InstallerViewModel::createSessionStore() {
    beginStep(sessionStore);
    const std::string sessions = layout_.sessionsDirectory();
    std::error_code error;
    if (Plan* plan = host_.plan()) {
        plan->createFolder(sessions);
    } else {
        fs::create_directories(fs::path(sessions), error);
    }
    if (error) {
        finishStep(sessionStore, {StepStatus::warning, "Could not create: " + error.message()});
    } else {
        finishStep(sessionStore, {StepStatus::success, sessions});
    }
}

Task<bool> InstallerViewModel::registerAgentStep() {
    beginStep(registration);
    const StepResult result = co_await registerPellixAgent(configFile());
    finishStep(registration, result);
    if (result.status != StepStatus::failed) co_return true;
    setErrorMessage(result.detail);
    setPhase(InstallerPhase::error);
    co_return false;
}

void InstallerViewModel::createOpsDirectories(const std::string& pellixDir) {
    beginStep(opsDirectories);
    constexpr std::string_view kOpsFolders[] = {"ops", "ops/snapshots", "ops/memory", "ops/wal"};
    Plan* plan = host_.plan();
    for (std::string_view name : kOpsFolders) {
        const std::string folder = pellixDir + "/" + std::string(name);
        if (plan) {
            // A dry run has not copied the tree: what the copy and the carried ops/ bring is
            // there then.
            const auto& arriving = plannedTreeFolders_;
            if (std::find(arriving.begin(), arriving.end(), name) == arriving.end()) {
                plan->createFolder(folder);
            }
            continue;
        }
        // A folder that cannot be made is left for the agent to complain about; the row reports
        // the list as ready either way.
        std::error_code ignored;
        fs::create_directories(fs::path(folder), ignored);
    }
    finishStep(opsDirectories, {StepStatus::success,
                                std::to_string(std::size(kOpsFolders)) + " directories ready"});
}

Task<void> InstallerViewModel::restartGateway() {
    beginStep(gatewayRestart);
    const ShellResult restart = co_await host_.restartOpenClawGateway();
    if (restart.status == 0) {
        finishStep(gatewayRestart, {StepStatus::success, "Gateway restarted"});
    } else {
        // The row keeps its words; the terminal and the JSON say why, where the host says it.
        record_.gatewayConfigRefused = configRefusedLine(restart);
        finishStep(gatewayRestart, {StepStatus::warning, "Restart may need manual run"});
    }
}

}  // namespace pellix
