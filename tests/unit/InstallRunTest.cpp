// A run's life as other front ends see it: one run per OpenClaw home at a time, and a stop
// request that lets the row under way finish and starts no other.

#include <gtest/gtest.h>

#include <deque>
#include <filesystem>

#include "InstallSandbox.h"
#include "TestSupport.h"
#include "files/HomeLock.h"

namespace fs = std::filesystem;

namespace pellix {
namespace {

// Holds each blocking job until the test lets it run, so a run can be caught half-way.
class HeldJobs {
public:
    Executor executor() {
        return [this](std::function<void()> job, std::function<void()> resume) {
            held_.emplace_back(std::move(job), std::move(resume));
        };
    }
    bool runNext() {
        if (held_.empty()) return false;
        auto [job, resume] = std::move(held_.front());
        held_.pop_front();
        job();
        resume();
        return true;
    }
    std::size_t count() const { return held_.size(); }

private:
    std::deque<std::pair<std::function<void()>, std::function<void()>>> held_;
};

std::vector<StepStatus> statuses(const InstallerViewModel& model) {
    std::vector<StepStatus> result;
    for (const InstallStep& step : model.steps()) result.push_back(step.status);
    return result;
}

using S = StepStatus;

TEST(InstallRun, SecondViewModelOnTheSameHomeChangesNothingAndSaysAnotherIsRunning) {
    test::Sandbox sandbox;
    HeldJobs jobs;
    Platform heldPlatform = sandbox.platform();
    heldPlatform.runBlockingJob = jobs.executor();
    InstallerViewModel first(heldPlatform);
    first.startInstall();
    ASSERT_TRUE(first.installRunning());
    ASSERT_EQ(jobs.count(), 1u);  // parked on copying the agent's files
    const std::string configBefore = test::readFile(sandbox.configFile());

    InstallerViewModel second(sandbox.platform());
    second.startInstall();
    EXPECT_EQ(second.phase(), InstallerPhase::error);
    EXPECT_EQ(second.errorMessage(), "Another Pellix installer is already working on " +
                                         sandbox.openclawHome() +
                                         ". Wait for it to finish, then try again.");
    EXPECT_EQ(statuses(second), std::vector<S>(11, S::pending));
    EXPECT_FALSE(second.installRunning());
    EXPECT_FALSE(fs::exists(sandbox.pellixDir()));
    EXPECT_FALSE(fs::exists(sandbox.openclawHome() + "/agents/pellix/sessions"));
    EXPECT_EQ(test::readFile(sandbox.configFile()), configBefore);
    EXPECT_EQ(sandbox.calls(), "");

    while (jobs.runNext()) {
    }
    EXPECT_EQ(first.phase(), InstallerPhase::complete);
    EXPECT_FALSE(first.installRunning());
    second.startInstall();
    EXPECT_EQ(second.phase(), InstallerPhase::complete);
}

TEST(InstallRun, LockIsHeldFromTheFirstRowToTheLast) {
    test::Sandbox sandbox;
    HeldJobs jobs;
    Platform platform = sandbox.platform();
    platform.runBlockingJob = jobs.executor();
    InstallerViewModel model(platform);
    model.startInstall();
    std::optional<HomeLock> probe;
    while (model.phase() == InstallerPhase::installing) {
        EXPECT_EQ(HomeLock::tryAcquire(sandbox.openclawHome(), probe), HomeLock::Outcome::busy);
        ASSERT_TRUE(jobs.runNext());
    }
    EXPECT_EQ(model.phase(), InstallerPhase::complete);
    EXPECT_EQ(HomeLock::tryAcquire(sandbox.openclawHome(), probe), HomeLock::Outcome::acquired);
}

TEST(InstallRun, StopRequestFinishesTheRowUnderWayAndStartsNoOther) {
    test::Sandbox sandbox;
    HeldJobs jobs;
    Platform platform = sandbox.platform();
    platform.runBlockingJob = jobs.executor();
    InstallerViewModel model(platform);
    model.startInstall();
    ASSERT_EQ(model.steps()[2].status, S::running);

    model.requestStop();
    EXPECT_TRUE(model.stopRequested());
    EXPECT_EQ(model.phase(), InstallerPhase::installing);
    ASSERT_TRUE(jobs.runNext());

    EXPECT_EQ(statuses(model), (std::vector<S>{S::success, S::success, S::success, S::pending,
                                               S::pending, S::pending, S::pending, S::pending,
                                               S::pending, S::pending, S::pending}));
    EXPECT_EQ(model.steps()[2].detail, "Installed from app bundle");
    EXPECT_EQ(model.phase(), InstallerPhase::error);
    EXPECT_EQ(model.errorMessage(), "The installation was stopped before it finished.");
    EXPECT_FALSE(model.installRunning());
    EXPECT_FALSE(model.stopRequested());
    EXPECT_EQ(jobs.count(), 0u);
    EXPECT_FALSE(fs::exists(sandbox.openclawHome() + "/agents/pellix/sessions"));

    // The lock went with the run: a new one goes through to the end.
    Platform inline_ = sandbox.platform();
    InstallerViewModel next(inline_);
    next.startInstall();
    EXPECT_EQ(next.phase(), InstallerPhase::complete);
}

TEST(InstallRun, StopRequestWithoutARunIsIgnored) {
    test::Sandbox sandbox;
    InstallerViewModel model(sandbox.platform());
    model.requestStop();
    EXPECT_FALSE(model.stopRequested());
    model.startInstall();
    EXPECT_EQ(model.phase(), InstallerPhase::complete);
}

}  // namespace
}  // namespace pellix
