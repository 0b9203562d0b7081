#include <gtest/gtest.h>

#include <deque>
#include <filesystem>

#include "InstallSandbox.h"
#include "TestSupport.h"

namespace fs = std::filesystem;

namespace pellix {
namespace {

// Holds each blocking job until the test lets it run, to look at the state in between.
class ManualExecutor {
public:
    Executor executor() {
        return [this](std::function<void()> job, std::function<void()> resume) {
            pending_.emplace_back(std::move(job), std::move(resume));
        };
    }
    bool runNext() {
        if (pending_.empty()) return false;
        auto [job, resume] = std::move(pending_.front());
        pending_.pop_front();
        job();
        resume();
        return true;
    }
    void runAll() {
        while (runNext()) {
        }
    }

private:
    std::deque<std::pair<std::function<void()>, std::function<void()>>> pending_;
};

class InstallPipeline : public ::testing::Test {
protected:
    std::string home() const { return sandbox.home(); }
    std::string openclawHome() const { return sandbox.openclawHome(); }
    std::string agentsFolder() const { return sandbox.agentsFolder(); }
    std::string pellixDir() const { return sandbox.pellixDir(); }
    std::string elsewhere(const std::string& name) const { return sandbox.root() + "/" + name; }

    Platform platform(bool withBundle = true) const {
        Platform platform = sandbox.platform();
        if (!withBundle) platform.resourceDirectory = elsewhere("no-resources");
        return platform;
    }

    static std::vector<StepStatus> statuses(const InstallerViewModel& model) {
        std::vector<StepStatus> result;
        for (const InstallStep& step : model.steps()) result.push_back(step.status);
        return result;
    }

    test::Sandbox sandbox;
    const std::string& fakeBin = sandbox.fakeBin();
};

using S = StepStatus;

TEST_F(InstallPipeline, FreshInstallSucceedsOnEveryRow) {
    InstallerViewModel model(platform());
    model.startInstall();
    EXPECT_EQ(model.phase(), InstallerPhase::complete);
    EXPECT_EQ(model.progress(), 1.0);
    const std::vector<std::pair<std::string, std::string>> expected = {
        {"Checking OpenClaw installation", openclawHome()},
        {"Detecting workspace", "workspace-main"},
        {"Installing Pellix agent files", "Installed from app bundle"},
        {"Creating agent session store", openclawHome() + "/agents/pellix/sessions"},
        {"Registering Pellix in openclaw.json", "Registered with sonnet model, 15m scan"},
        {"Adding Pellix to spawn allowlist", "Added to main agent's spawn allowlist"},
        {"Setting up ops directories", "4 directories ready"},
        {"Installing always-on service", "Always-on service running (30s session polling)"},
        {"Installing scheduled scanners", "3 scheduled scanners active"},
        {"Restarting OpenClaw gateway", "Gateway restarted"},
        {"Verifying installation",
         "All files verified, service running — Pellix is watching 🧠"},
    };
    ASSERT_EQ(model.steps().size(), expected.size());
    for (std::size_t i = 0; i < expected.size(); ++i) {
        EXPECT_EQ(model.steps()[i].label, expected[i].first) << i;
        EXPECT_EQ(model.steps()[i].detail, expected[i].second) << i;
        EXPECT_EQ(model.steps()[i].status, S::success) << i;
    }
    EXPECT_EQ(model.errorMessage(), "");
    for (const char* ops : {"ops", "ops/snapshots", "ops/memory", "ops/wal"}) {
        EXPECT_TRUE(fs::is_directory(pellixDir() + "/" + ops)) << ops;
    }
}

TEST_F(InstallPipeline, MissingOpenClawHomeStopsOnTheFirstRow) {
    InstallerViewModel model(
        test::testPlatform(home(), fakeBin, elsewhere("absent"), sandbox.resources()));
    model.startInstall();
    EXPECT_EQ(model.phase(), InstallerPhase::error);
    EXPECT_EQ(model.steps()[0].detail, "OpenClaw not found at " + elsewhere("absent"));
    EXPECT_EQ(statuses(model),
              std::vector<S>({S::failed, S::pending, S::pending, S::pending, S::pending, S::pending,
                              S::pending, S::pending, S::pending, S::pending, S::pending}));
    EXPECT_DOUBLE_EQ(model.progress(), 1.0 / 11.0);
    EXPECT_EQ(model.errorMessage(),
              "OpenClaw must be installed first. Visit docs.openclaw.ai for setup instructions.");
}

TEST_F(InstallPipeline, HomeWithoutWorkspaceStopsOnTheSecondRow) {
    fs::remove_all(openclawHome() + "/workspace-main");
    InstallerViewModel model(platform());
    model.startInstall();
    EXPECT_EQ(model.phase(), InstallerPhase::error);
    EXPECT_EQ(model.steps()[0].status, S::success);
    EXPECT_EQ(model.steps()[1].status, S::failed);
    EXPECT_EQ(model.steps()[1].detail, "No workspace-* directory found");
    EXPECT_EQ(model.steps()[2].status, S::pending);
    EXPECT_DOUBLE_EQ(model.progress(), 2.0 / 11.0);
    EXPECT_EQ(model.errorMessage(), "No OpenClaw workspace found. Create one first: openclaw init");
}

TEST_F(InstallPipeline, WithoutBundleAnEarlierInstallIsKeptAndTheRunGoesOn) {
    test::writeSampleAgent(pellixDir());
    test::writeFile(pellixDir() + "/local-notes.md", "mine");
    InstallerViewModel model(platform(false));
    model.startInstall();
    EXPECT_EQ(model.steps()[2].status, S::success);
    EXPECT_EQ(model.steps()[2].detail, "Already present at " + pellixDir());
    EXPECT_EQ(test::readFile(pellixDir() + "/local-notes.md"), "mine");
    EXPECT_EQ(model.phase(), InstallerPhase::complete);
}

TEST_F(InstallPipeline, BundleReplacesAnEarlierInstallWhole) {
    test::writeFile(pellixDir() + "/stale-only-in-old-tree.md", "old");
    test::writeFile(pellixDir() + "/AGENTS.md", "old agents");
    InstallerViewModel model(platform());
    model.startInstall();
    EXPECT_EQ(model.steps()[2].detail, "Installed from app bundle");
    EXPECT_FALSE(fs::exists(pellixDir() + "/stale-only-in-old-tree.md"));
    EXPECT_EQ(test::readFile(pellixDir() + "/AGENTS.md"),
              test::readFile(sandbox.resources() + "/pellix-bundle/AGENTS.md"));
}

TEST_F(InstallPipeline, CopyKeepsSymbolicLinksAsLinks) {
    InstallerViewModel model(platform());
    model.startInstall();
    EXPECT_TRUE(fs::is_symlink(pellixDir() + "/skills/current"));
    EXPECT_EQ(fs::read_symlink(pellixDir() + "/skills/current"), "pellix-core");
}

TEST_F(InstallPipeline, BundleIntoWorkspaceWithoutAgentsFolderFailsTheCopy) {
    fs::remove_all(agentsFolder());
    InstallerViewModel model(platform());
    model.startInstall();
    EXPECT_EQ(model.phase(), InstallerPhase::error);
    EXPECT_EQ(model.steps()[2].status, S::failed);
    EXPECT_EQ(model.steps()[2].detail, "No such file or directory");
    EXPECT_EQ(model.errorMessage(), "Failed to copy agent files: No such file or directory");
    EXPECT_FALSE(fs::exists(agentsFolder()));
    EXPECT_DOUBLE_EQ(model.progress(), 3.0 / 11.0);
}

TEST_F(InstallPipeline, NoBundleAndNoEarlierInstallStopsWithWhereToPlaceTheFiles) {
    InstallerViewModel model(platform(false));
    model.startInstall();
    EXPECT_EQ(model.phase(), InstallerPhase::error);
    EXPECT_EQ(model.steps()[2].detail, "No pellix-bundle in app and no existing install");
    EXPECT_EQ(model.errorMessage(), "Pellix agent files not found. Place them at " + pellixDir() +
                                        " or rebuild the installer with the bundle.");
}

TEST_F(InstallPipeline, SessionStoreBlockedByAFileIsAWarningAndTheRunGoesOn) {
    test::writeFile(openclawHome() + "/agents", "a file where a folder should be");
    InstallerViewModel model(platform());
    model.startInstall();
    EXPECT_EQ(model.steps()[3].status, S::warning);
    EXPECT_EQ(model.steps()[3].detail, "Could not create: Not a directory");
    EXPECT_EQ(model.phase(), InstallerPhase::complete);
}

TEST_F(InstallPipeline, UnreadableConfigStopsAtRegistrationWithTheWorkersText) {
    fs::remove(openclawHome() + "/openclaw.json");
    InstallerViewModel model(platform());
    model.startInstall();
    EXPECT_EQ(model.phase(), InstallerPhase::error);
    EXPECT_EQ(model.steps()[4].status, S::failed);
    EXPECT_EQ(model.errorMessage(), "Cannot read openclaw.json");
    EXPECT_EQ(model.steps()[5].status, S::pending);
    EXPECT_DOUBLE_EQ(model.progress(), 5.0 / 11.0);
}

Task<StepResult> refusedAllowlist(WorkerContext, std::string) {
    co_return StepResult{S::failed, "refused"};
}

TEST_F(InstallPipeline, FailedAllowlistIsShownAndTheRunStillCompletes) {
    InstallWorkers workers;
    workers.addToAllowlist = refusedAllowlist;
    InstallerViewModel model(platform(), std::move(workers));
    model.startInstall();
    EXPECT_EQ(model.steps()[5].status, S::failed);
    EXPECT_EQ(model.steps()[5].detail, "refused");
    EXPECT_EQ(model.phase(), InstallerPhase::complete);
    EXPECT_EQ(model.errorMessage(), "");
}

TEST_F(InstallPipeline, GatewayRestartFailureIsAWarning) {
    test::writeFile(fakeBin + "/fail-openclaw", "");
    InstallerViewModel model(platform());
    model.startInstall();
    EXPECT_EQ(model.steps()[9].status, S::warning);
    EXPECT_EQ(model.steps()[9].detail, "Restart may need manual run");
    EXPECT_EQ(model.phase(), InstallerPhase::complete);
}

TEST_F(InstallPipeline, MissingOpenclawCommandIsAWarningToo) {
    fs::remove(fakeBin + "/openclaw");
    InstallerViewModel model(platform());
    model.startInstall();
    EXPECT_EQ(model.steps()[9].detail, "Restart may need manual run");
}

Task<StepResult> failedVerification(WorkerContext, std::string) {
    co_return StepResult{S::failed, "nothing verified"};
}

TEST_F(InstallPipeline, FailedVerificationStillEndsComplete) {
    InstallWorkers workers;
    workers.verifyInstall = failedVerification;
    InstallerViewModel model(platform(), std::move(workers));
    model.startInstall();
    EXPECT_EQ(model.phase(), InstallerPhase::complete);
    EXPECT_EQ(model.progress(), 1.0);
    EXPECT_EQ(model.steps()[10].status, S::failed);
    EXPECT_EQ(model.steps()[10].detail, "nothing verified");
}

TEST_F(InstallPipeline, StartInstallShowsElevenPendingRowsBeforeAnythingRuns) {
    ManualExecutor executor;
    Platform held = platform();
    held.runBlockingJob = executor.executor();
    InstallerViewModel model(std::move(held));
    model.setProgress(0.5);
    model.setErrorMessage("earlier failure");
    std::vector<StepStatus> firstRows;
    double progressAtFirstRows = -1;
    model.addDidChangeObserver([&](Property property) {
        if (property == Property::steps && firstRows.empty()) {
            firstRows = statuses(model);
            progressAtFirstRows = model.progress();
        }
    });
    model.startInstall();
    EXPECT_EQ(firstRows, std::vector<S>(11, S::pending));
    EXPECT_EQ(progressAtFirstRows, 0.5);
    EXPECT_EQ(model.phase(), InstallerPhase::installing);
    EXPECT_EQ(model.errorMessage(), "earlier failure");
    EXPECT_EQ(model.steps()[2].status, S::running);  // waiting on the copy, off this thread
    executor.runAll();
    EXPECT_EQ(model.phase(), InstallerPhase::complete);
}

TEST_F(InstallPipeline, EveryBlockingJobGoesThroughTheExecutor) {
    int jobs = 0;
    Platform counted = platform();
    counted.runBlockingJob = [&jobs](std::function<void()> job, std::function<void()> resume) {
        ++jobs;
        job();
        resume();
    };
    InstallerViewModel model(std::move(counted));
    model.startInstall();
    ASSERT_EQ(model.phase(), InstallerPhase::complete);
    // The copy, the two edits of openclaw.json (each asks the host's validator, so neither may
    // hold the window), then which/reload/print for the service, three reloads and which for
    // the scanners, the gateway restart, the verification listing and the receipt (its manifest
    // reads every file placed).
    EXPECT_EQ(jobs, 13);
}

TEST_F(InstallPipeline, ChoicesReachTheRegistration) {
    InstallerViewModel model(platform());
    model.setScanPreset("daily");
    model.setModelChoice("opus");
    model.startInstall();
    EXPECT_EQ(model.steps()[4].detail, "Registered with opus model, 1440m scan");
}

}  // namespace
}  // namespace pellix
