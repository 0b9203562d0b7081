#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "InstallSandbox.h"
#include "Platform.h"
#include "TestSupport.h"
#include "UserManager.h"

namespace pellix {
namespace {

namespace fs = std::filesystem;
using test::Sandbox;

const std::vector<std::string> kUnits = {
    "ai.pellix.pellix-service.service",     "ai.pellix.pellix.wal.service",
    "ai.pellix.pellix.wal.timer",           "ai.pellix.pellix.tripwire-grep.service",
    "ai.pellix.pellix.tripwire-grep.timer", "ai.pellix.pellix.tripwire-ai.service",
    "ai.pellix.pellix.tripwire-ai.timer"};

Platform systemdPlatform(const Sandbox& sandbox, const std::string& runtimeDirectory,
                         std::vector<std::string>* notices = nullptr,
                         std::optional<std::string> configHome = std::nullopt) {
    Platform platform = sandbox.platform();
    platform.serviceManager = ServiceManagerChoice::systemd;
    platform.environment = [runtimeDirectory,
                            configHome](const std::string& name) -> std::optional<std::string> {
        if (name == "XDG_RUNTIME_DIR") return runtimeDirectory;
        if (name == "XDG_CONFIG_HOME") return configHome;
        return std::nullopt;
    };
    if (notices) platform.notice = [notices](const std::string& line) { notices->push_back(line); };
    return platform;
}

std::vector<std::string> unitFilesIn(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

std::vector<std::string> sorted(std::vector<std::string> names) {
    std::sort(names.begin(), names.end());
    return names;
}

TEST(ServiceManagerChoice, LaunchctlOnTheChildrensPathMeansLaunchd) {
    Sandbox sandbox;
    Platform platform = sandbox.platform();
    platform.serviceManager = ServiceManagerChoice::automatic;
    InstallerViewModel model(platform);
    EXPECT_EQ(test::serviceManagerName(model.host()), "launchd");
}

TEST(ServiceManagerChoice, NoLaunchctlMeansSystemdAndTheAnswerIsKept) {
    Sandbox sandbox;
    Platform platform = sandbox.platform();
    platform.serviceManager = ServiceManagerChoice::automatic;
    platform.childPath = "/usr/bin:/bin";
    int jobs = 0;
    platform.runBlockingJob = [&jobs](std::function<void()> job, std::function<void()> resume) {
        ++jobs;
        job();
        resume();
    };
    InstallerViewModel model(platform);
    EXPECT_EQ(test::serviceManagerName(model.host()), "systemd");
    EXPECT_EQ(jobs, 1);
    test::installFakeCommands(sandbox.root() + "/late");
    EXPECT_EQ(test::serviceManagerName(model.host()), "systemd");
    EXPECT_EQ(jobs, 1);
}

TEST(ServiceManagerChoice, ThePlatformCanFixSystemdEvenWhereLaunchctlIsFound) {
    Sandbox sandbox;
    InstallerViewModel model(systemdPlatform(sandbox, sandbox.root() + "/runtime"));
    EXPECT_EQ(test::serviceManagerName(model.host()), "systemd");
}

class SystemdWithoutManager : public ::testing::Test {
protected:
    void SetUp() override {
        if (::access("/usr/bin/systemctl", X_OK) != 0 && ::access("/bin/systemctl", X_OK) != 0) {
            GTEST_SKIP() << "systemctl is not installed (scripts/setup installs systemd)";
        }
        test::makeDirs(runtime);
    }
    Sandbox sandbox;
    std::string runtime = sandbox.root() + "/empty-runtime";
    std::vector<std::string> notices;
};

TEST_F(SystemdWithoutManager, UnitsAreWrittenRowsWarnAndOneNoticeSaysHowToStartThem) {
    InstallerViewModel model(systemdPlatform(sandbox, runtime, &notices));
    model.startInstall();
    ASSERT_EQ(model.phase(), InstallerPhase::complete);
    EXPECT_EQ(model.steps()[7].status, StepStatus::warning);
    EXPECT_EQ(model.steps()[7].detail, "Service installed but may need login/restart to activate");
    EXPECT_EQ(model.steps()[8].status, StepStatus::success);
    EXPECT_EQ(model.steps()[8].detail, "3 scheduled scanners active");
    EXPECT_EQ(model.steps()[10].detail, "Files OK, service may need restart");
    const std::string folder = sandbox.home() + "/.config/systemd/user";
    EXPECT_EQ(unitFilesIn(folder), sorted(kUnits));
    EXPECT_FALSE(fs::exists(sandbox.home() + "/Library/LaunchAgents"));
    EXPECT_EQ(notices,
              std::vector<std::string>{
                  "No systemd user manager answered; the Pellix units are written to " + folder +
                  ". Start them from a login session with: systemctl --user daemon-reload && "
                  "systemctl --user enable --now ai.pellix.pellix-service.service "
                  "ai.pellix.pellix.wal.timer ai.pellix.pellix.tripwire-grep.timer "
                  "ai.pellix.pellix.tripwire-ai.timer (on a server, run `loginctl enable-linger " +
                  currentUserName() + "` first so they run without a login)."});
}

TEST_F(SystemdWithoutManager, XdgConfigHomeChoosesTheUnitFolder) {
    const std::string configHome = sandbox.root() + "/config";
    InstallerViewModel model(systemdPlatform(sandbox, runtime, &notices, configHome));
    model.startInstall();
    EXPECT_EQ(unitFilesIn(configHome + "/systemd/user"), sorted(kUnits));
    EXPECT_FALSE(fs::exists(sandbox.home() + "/.config/systemd"));
}

TEST_F(SystemdWithoutManager, UnwritableUnitFolderGivesTheWriteTexts) {
    test::writeFile(sandbox.home() + "/.config", "a file where the folder goes");
    InstallerViewModel model(systemdPlatform(sandbox, runtime, &notices));
    model.startInstall();
    EXPECT_EQ(model.steps()[7].detail, "Could not write plist — install manually");
    EXPECT_EQ(model.steps()[8].detail, "0/3 scanners installed");
    // Nothing can be there, so there is nothing to remove.
    for (const JobRemoval& removal : test::removeJobs(model.host())) {
        EXPECT_TRUE(removal.removed) << removal.label;
        EXPECT_EQ(removal.detail, "") << removal.label;
    }
}

TEST_F(SystemdWithoutManager, DescribeAndRemoveWorkOnTheFilesAlone) {
    InstallerViewModel model(systemdPlatform(sandbox, runtime, &notices));
    model.startInstall();
    for (const JobState& job : test::describeJobs(model.host())) {
        EXPECT_TRUE(job.fileInstalled) << job.label;
        EXPECT_FALSE(job.loaded) << job.label;
        EXPECT_FALSE(job.running) << job.label;
    }
    for (const JobRemoval& removal : test::removeJobs(model.host())) {
        EXPECT_TRUE(removal.removed) << removal.label << ": " << removal.detail;
    }
    EXPECT_EQ(unitFilesIn(sandbox.home() + "/.config/systemd/user"), std::vector<std::string>{});
}

class SystemdUnderUserManager : public ::testing::Test {
protected:
    void SetUp() override {
        if (!manager.available()) GTEST_SKIP() << manager.unavailableReason();
    }
    Sandbox sandbox;
    test::UserManager manager{sandbox.home()};
    std::vector<std::string> notices;
};

TEST_F(SystemdUnderUserManager, InstallDescribeRemoveAndRemoveAgain) {
    InstallerViewModel model(systemdPlatform(sandbox, manager.runtimeDirectory(), &notices));
    model.startInstall();
    ASSERT_EQ(model.phase(), InstallerPhase::complete);
    EXPECT_EQ(model.steps()[7].detail, "Always-on service running (30s session polling)");
    EXPECT_EQ(model.steps()[8].detail, "3 scheduled scanners active");
    EXPECT_EQ(model.steps()[10].detail,
              "All files verified, service running — Pellix is watching 🧠");
    EXPECT_EQ(notices, std::vector<std::string>{});

    const std::vector<JobState> jobs = test::describeJobs(model.host());
    ASSERT_EQ(jobs.size(), 4u);
    EXPECT_TRUE(jobs[0].fileInstalled && jobs[0].loaded && jobs[0].running);
    ASSERT_TRUE(jobs[0].pid.has_value());
    EXPECT_TRUE(fs::exists("/proc/" + std::to_string(*jobs[0].pid)));
    for (std::size_t i = 1; i < 4; ++i) {
        EXPECT_TRUE(jobs[i].fileInstalled) << jobs[i].label;
        EXPECT_TRUE(jobs[i].loaded) << jobs[i].label;
        EXPECT_NE(jobs[i].lastRun, "") << jobs[i].label;
    }

    for (const JobRemoval& removal : test::removeJobs(model.host())) {
        EXPECT_TRUE(removal.removed) << removal.label << ": " << removal.detail;
    }
    EXPECT_EQ(unitFilesIn(sandbox.home() + "/.config/systemd/user"), std::vector<std::string>{});
    // disable --now waits for the stop, and the manager reaps what it stopped.
    EXPECT_FALSE(fs::exists("/proc/" + std::to_string(*jobs[0].pid)));
    EXPECT_EQ(manager.systemctl("list-units --all --no-legend 'ai.pellix*'").output, "");
    for (const JobState& job : test::describeJobs(model.host())) {
        EXPECT_FALSE(job.fileInstalled || job.loaded || job.running) << job.label;
    }
    for (const JobRemoval& removal : test::removeJobs(model.host())) {
        EXPECT_TRUE(removal.removed) << removal.label << ": " << removal.detail;
    }
}

}  // namespace
}  // namespace pellix
