#include <gtest/gtest.h>

#include <filesystem>
#include <string>
#include <vector>

#include "InstallSandbox.h"
#include "TestSupport.h"

namespace pellix {
namespace {

using test::Sandbox;

class LaunchdJobs : public ::testing::Test {
protected:
    Sandbox sandbox;

    std::string plist(const std::string& label) const {
        return sandbox.home() + "/Library/LaunchAgents/" + label + ".plist";
    }
    void failAll(const std::string& subcommand) const {
        test::writeFile(sandbox.fakeBin() + "/fail-" + subcommand, "");
    }
};

const std::vector<std::string> kLabels = {"ai.pellix.pellix-service", "ai.pellix.pellix.wal",
                                          "ai.pellix.pellix.tripwire-grep",
                                          "ai.pellix.pellix.tripwire-ai"};

TEST_F(LaunchdJobs, NameIsLaunchd) {
    InstallerViewModel model(sandbox.platform());
    EXPECT_EQ(test::serviceManagerName(model.host()), "launchd");
}

TEST_F(LaunchdJobs, AfterAnInstallEveryJobIsInstalledLoadedAndRunningWithItsPid) {
    InstallerViewModel model(sandbox.platform());
    model.startInstall();
    const std::vector<JobState> jobs = test::describeJobs(model.host());
    ASSERT_EQ(jobs.size(), 4u);
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        EXPECT_EQ(jobs[i].label, kLabels[i]);
        EXPECT_EQ(jobs[i].alwaysOn, i == 0);
        EXPECT_TRUE(jobs[i].fileInstalled);
        EXPECT_TRUE(jobs[i].loaded);
        EXPECT_TRUE(jobs[i].running);
        EXPECT_EQ(jobs[i].pid, 4242);
        EXPECT_EQ(jobs[i].lastRun, "");
    }
}

TEST_F(LaunchdJobs, NothingInstalledDescribesFourAbsentJobs) {
    InstallerViewModel model(sandbox.platform());
    for (const JobState& job : test::describeJobs(model.host())) {
        EXPECT_FALSE(job.fileInstalled) << job.label;
        EXPECT_FALSE(job.loaded) << job.label;
        EXPECT_FALSE(job.running) << job.label;
        EXPECT_EQ(job.pid, std::nullopt) << job.label;
    }
}

TEST_F(LaunchdJobs, RemovalBootsOutTheServiceUnloadsTheScannersAndDeletesTheFiles) {
    InstallerViewModel model(sandbox.platform());
    model.startInstall();
    const std::string before = sandbox.calls();
    const std::vector<JobRemoval> removals = test::removeJobs(model.host());
    ASSERT_EQ(removals.size(), 4u);
    for (std::size_t i = 0; i < removals.size(); ++i) {
        EXPECT_EQ(removals[i].label, kLabels[i]);
        EXPECT_TRUE(removals[i].removed) << removals[i].detail;
        EXPECT_EQ(removals[i].detail, "");
        EXPECT_FALSE(std::filesystem::exists(plist(kLabels[i])));
    }
    EXPECT_EQ(sandbox.loadedJobs(), "");
    const std::string calls = sandbox.calls().substr(before.size());
    const std::string uid = std::to_string(::getuid());
    EXPECT_NE(calls.find("launchctl bootout gui/" + uid + " " + plist(kLabels[0]) + "\n"),
              std::string::npos)
        << calls;
    EXPECT_NE(calls.find("launchctl unload " + plist(kLabels[1]) + "\n"), std::string::npos)
        << calls;
}

TEST_F(LaunchdJobs, RemovingWhatIsNotThereSucceeds) {
    InstallerViewModel model(sandbox.platform());
    for (const JobRemoval& removal : test::removeJobs(model.host())) {
        EXPECT_TRUE(removal.removed) << removal.label << ": " << removal.detail;
    }
}

TEST_F(LaunchdJobs, LoadedJobWhoseFileIsGoneIsBootedOutByLabel) {
    InstallerViewModel model(sandbox.platform());
    model.startInstall();
    std::filesystem::remove(plist(kLabels[2]));
    const std::vector<JobRemoval> removals = test::removeJobs(model.host());
    EXPECT_TRUE(removals[2].removed) << removals[2].detail;
    EXPECT_NE(sandbox.calls().find("launchctl bootout gui/" + std::to_string(::getuid()) + "/" +
                                   kLabels[2] + "\n"),
              std::string::npos);
    EXPECT_EQ(sandbox.loadedJobs(), "");
}

TEST_F(LaunchdJobs, JobThatLaunchdKeepsIsReportedNotRemoved) {
    InstallerViewModel model(sandbox.platform());
    model.startInstall();
    failAll("bootout");
    failAll("unload");
    const std::vector<JobRemoval> removals = test::removeJobs(model.host());
    for (const JobRemoval& removal : removals) {
        EXPECT_FALSE(removal.removed) << removal.label;
        EXPECT_EQ(removal.detail, "launchd still has the job loaded");
    }
}

}  // namespace
}  // namespace pellix
