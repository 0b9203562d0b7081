// The install pipeline: eleven checklist rows worked through in order, each reported through
// updateStep. Only this file decides which outcomes stop the run.

#include <filesystem>
#include <string_view>
#include <system_error>

#include "InstallerViewModel.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

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

bool somethingExistsAt(const std::string& path) {
    std::error_code error;
    return fs::exists(fs::symlink_status(fs::path(path), error));
}

// Replaces whatever stands at `destination` with a copy of the tree at `source`. Like the
// platform's copy, it refuses an existing destination (hence the removal first), creates no
// missing parent folder, and copies symbolic links as links.
std::error_code replaceWithCopy(const std::string& source, const std::string& destination) {
    std::error_code error;
    if (somethingExistsAt(destination)) {
        fs::remove_all(fs::path(destination), error);
        if (error) return error;
    }
    if (somethingExistsAt(destination)) return std::make_error_code(std::errc::file_exists);
    fs::copy(fs::path(source), fs::path(destination),
             fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
    return error;
}

std::string lastComponent(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? path : path.substr(slash + 1);
}

}  // namespace

void InstallerViewModel::startInstall() {
    setPhase(InstallerPhase::installing);
    std::vector<InstallStep> rows;
    rows.reserve(std::size(kStepLabels));
    for (std::string_view label : kStepLabels) rows.emplace_back(std::string(label));
    setSteps(std::move(rows));
    runGuarded().detach();
}

Task<void> InstallerViewModel::runGuarded() {
    // Workers report failures as results; this catches what no worker expected (say, memory
    // running out) so that a run never stays on the installing screen.
    std::string unexpected;
    try {
        co_await runInstall();
    } catch (const std::exception& error) {
        unexpected = error.what();
    } catch (...) {
        unexpected = "unknown error";
    }
    if (!unexpected.empty()) {
        setErrorMessage("Installation stopped unexpectedly: " + unexpected);
        setPhase(InstallerPhase::error);
    }
}

Task<void> InstallerViewModel::runInstall() {
    const auto fail = [this](int row, const std::string& detail, std::string message) {
        updateStep(row, StepStatus::failed, detail);
        setErrorMessage(std::move(message));
        setPhase(InstallerPhase::error);
    };

    updateStep(0, StepStatus::running);
    if (!openclawExists()) {
        fail(0, "OpenClaw not found at " + openclawHome(),
             std::string("OpenClaw must be installed first. Visit ") + kOpenClawDocsHost +
                 " for setup instructions.");
        co_return;
    }
    updateStep(0, StepStatus::success, openclawHome());

    updateStep(1, StepStatus::running);
    const std::optional<std::string> workspacePath = workspace();
    if (!workspacePath) {
        fail(1, "No workspace-* directory found",
             "No OpenClaw workspace found. Create one first: openclaw init");
        co_return;
    }
    updateStep(1, StepStatus::success, lastComponent(*workspacePath));

    updateStep(2, StepStatus::running);
    const std::string pellixDir = *workspacePath + "/agents/pellix-unified";
    const std::string bundleSource = platform().resourceDirectory + "/pellix-bundle";
    if (somethingExistsAt(bundleSource)) {
        const std::error_code error = co_await runBlocking(
            platform().runBlockingJob,
            [bundleSource, pellixDir] { return replaceWithCopy(bundleSource, pellixDir); });
        if (error) {
            fail(2, error.message(), "Failed to copy agent files: " + error.message());
            co_return;
        }
        updateStep(2, StepStatus::success, "Installed from app bundle");
    } else if (somethingExistsAt(pellixDir)) {
        updateStep(2, StepStatus::success, "Already present at " + pellixDir);
    } else {
        fail(2, "No pellix-bundle in app and no existing install",
             "Pellix agent files not found. Place them at " + pellixDir +
                 " or rebuild the installer with the bundle.");
        co_return;
    }

    updateStep(3, StepStatus::running);
    const std::string sessions = openclawHome() + "/agents/pellix/sessions";
    std::error_code sessionsError;
    fs::create_directories(fs::path(sessions), sessionsError);
    if (sessionsError) {
        updateStep(3, StepStatus::warning, "Could not create: " + sessionsError.message());
    } else {
        updateStep(3, StepStatus::success, sessions);
    }

    updateStep(4, StepStatus::running);
    const StepResult registration = registerPellixAgent(configFile());
    updateStep(4, registration.status, registration.detail);
    if (registration.status == StepStatus::failed) {
        setErrorMessage(registration.detail);
        setPhase(InstallerPhase::error);
        co_return;
    }

    updateStep(5, StepStatus::running);
    const StepResult allowlist = addToAllowlist(configFile());
    updateStep(5, allowlist.status, allowlist.detail);

    updateStep(6, StepStatus::running);
    constexpr std::string_view kOpsFolders[] = {"ops", "ops/snapshots", "ops/memory", "ops/wal"};
    for (std::string_view name : kOpsFolders) {
        std::error_code ignored;
        fs::create_directories(fs::path(pellixDir + "/" + std::string(name)), ignored);
    }
    updateStep(6, StepStatus::success, std::to_string(std::size(kOpsFolders)) + " directories ready");

    updateStep(7, StepStatus::running);
    const StepResult service = co_await installLaunchdService(pellixDir);
    updateStep(7, service.status, service.detail);

    updateStep(8, StepStatus::running);
    const StepResult scanners = co_await installScheduledScanners(pellixDir);
    updateStep(8, scanners.status, scanners.detail);

    updateStep(9, StepStatus::running);
    const ShellResult restart = co_await shellCommand("openclaw gateway restart");
    if (restart.status == 0) {
        updateStep(9, StepStatus::success, "Gateway restarted");
    } else {
        updateStep(9, StepStatus::warning, "Restart may need manual run");
    }

    updateStep(10, StepStatus::running);
    const StepResult verification = co_await verifyInstall(pellixDir);
    updateStep(10, verification.status, verification.detail);
    setProgress(1.0);
    setPhase(InstallerPhase::complete);
}

}  // namespace pellix
