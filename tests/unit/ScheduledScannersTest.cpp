#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>

#include "TestSupport.h"
#include "jobs/PropertyLists.h"

namespace pellix {
namespace {

namespace fs = std::filesystem;
using test::TempDir;

const StepResult kAllActive{StepStatus::success, "3 scheduled scanners active"};

class ScheduledScanners : public ::testing::Test {
protected:
    TempDir temp;
    std::string home = temp / "home";
    std::string fakeBin = test::installFakeCommands(temp / "bin");
    std::string pellixDir = home + "/.openclaw/workspace-main/agents/pellix-unified";

    void SetUp() override {
        test::makeDirs(home + "/Library/LaunchAgents");
        // A python3 first on the children's PATH makes the interpreter line predictable.
        test::writeFile(fakeBin + "/python3", "#!/bin/sh\n");
        fs::permissions(fakeBin + "/python3", fs::perms::owner_all);
    }

    StepResult install(test::WorkerSetup& model) {
        return steps::installScheduledScanners(model.context(), pellixDir).runToCompletion();
    }
    StepResult install(const std::string& forHome) {
        test::WorkerSetup model(test::testPlatform(forHome, fakeBin));
        return install(model);
    }
    StepResult install() { return install(home); }

    std::string plist(int job, const std::string& forHome) const {
        return forHome + "/Library/LaunchAgents/" + jobLabel(kScannerJobs[job].labelSuffix) +
               ".plist";
    }
    std::string plist(int job) const { return plist(job, home); }
    std::string expectedText(int job, const std::string& forHome) const {
        const AgentJob& scanner = kScannerJobs[job];
        return propertyList(
            scanner,
            {pellixDir, scanner.runByPython ? fakeBin + "/python3" : kBashPath, forHome, ""});
    }
    std::string expectedText(int job) const { return expectedText(job, home); }
    std::string reloadCalls(int job) const {
        return "launchctl unload " + plist(job) + "\nlaunchctl load " + plist(job) + "\n";
    }
    std::string calls() const { return test::readFile(fakeBin + "/calls.log"); }
    std::string loaded() const { return test::readFile(fakeBin + "/loaded"); }
    void control(const std::string& name, const std::string& content = "") const {
        test::writeFile(fakeBin + "/" + name, content);
    }
};

TEST_F(ScheduledScanners, WritesThreeFilesAndReloadsEachInOrder) {
    EXPECT_EQ(install(), kAllActive);
    for (int job = 0; job < 3; ++job) EXPECT_EQ(test::readFile(plist(job)), expectedText(job));
    EXPECT_EQ(calls(), reloadCalls(0) + reloadCalls(1) + reloadCalls(2));
}

TEST_F(ScheduledScanners, EveryWrittenFileHasTwentyEightLinesAndNoTrailingLineFeed) {
    install();
    for (int job = 0; job < 3; ++job) {
        const std::string text = test::readFile(plist(job));
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 27);
        EXPECT_TRUE(text.ends_with("\n</plist>"));
    }
}

TEST_F(ScheduledScanners, ScanFrequencyChoiceLeavesTheFilesUnchanged) {
    for (const char* preset : {"daily", "vigilant"}) {
        test::WorkerSetup model(test::testPlatform(home, fakeBin));
        model.choices.scanPreset = preset;
        EXPECT_EQ(install(model), kAllActive);
        for (int job = 0; job < 3; ++job) {
            EXPECT_EQ(test::readFile(plist(job)), expectedText(job)) << preset;
        }
    }
    EXPECT_NE(test::readFile(plist(0)).find("<integer>300</integer>"), std::string::npos);
    EXPECT_NE(test::readFile(plist(1)).find("<integer>300</integer>"), std::string::npos);
    EXPECT_NE(test::readFile(plist(2)).find("<integer>900</integer>"), std::string::npos);
}

TEST_F(ScheduledScanners, OnlySecondFileFailingGivesTwoOfThreeAndSkipsItsReload) {
    test::makeDirs(plist(1));
    EXPECT_EQ(install(), (StepResult{StepStatus::warning, "2/3 scanners installed"}));
    EXPECT_EQ(calls(), reloadCalls(0) + reloadCalls(2));
    EXPECT_EQ(test::readFile(plist(2)), expectedText(2));
}

TEST_F(ScheduledScanners, PythonIsLookedUpEvenWhenTheFirstTwoJobsFail) {
    test::makeDirs(plist(0));
    test::makeDirs(plist(1));
    EXPECT_EQ(install(), (StepResult{StepStatus::warning, "1/3 scanners installed"}));
    EXPECT_EQ(test::readFile(plist(2)), expectedText(2));
    EXPECT_NE(test::readFile(plist(2)).find("<string>" + fakeBin + "/python3</string>"),
              std::string::npos);
    EXPECT_EQ(calls(), reloadCalls(2));
}

TEST_F(ScheduledScanners, MissingLaunchAgentsFolderGivesZeroOfThreeAndIsNotCreated) {
    fs::remove(home + "/Library/LaunchAgents");
    EXPECT_EQ(install(), (StepResult{StepStatus::warning, "0/3 scanners installed"}));
    EXPECT_FALSE(fs::exists(home + "/Library/LaunchAgents"));
    EXPECT_FALSE(fs::exists(fakeBin + "/calls.log"));
}

TEST_F(ScheduledScanners, HomeWithBlankCountsAllThreeThoughTheReloadsBreak) {
    const std::string blankHome = temp / "my home";
    test::makeDirs(blankHome + "/Library/LaunchAgents");
    EXPECT_EQ(install(blankHome), kAllActive);
    for (int job = 0; job < 3; ++job) {
        EXPECT_EQ(test::readFile(plist(job, blankHome)), expectedText(job, blankHome));
    }
    EXPECT_EQ(loaded(), "");
}

TEST_F(ScheduledScanners, FailingReloadsStillCountTheJobs) {
    control("fail-load");
    control("fail-unload");
    EXPECT_EQ(install(), kAllActive);
    EXPECT_EQ(loaded(), "");
}

TEST_F(ScheduledScanners, SecondRunRewritesTheFilesAndReloadsEachJob) {
    EXPECT_EQ(install(), kAllActive);
    for (int job = 0; job < 3; ++job) test::writeFile(plist(job), "stale");
    EXPECT_EQ(install(), kAllActive);
    for (int job = 0; job < 3; ++job) EXPECT_EQ(test::readFile(plist(job)), expectedText(job));
    const std::string once = reloadCalls(0) + reloadCalls(1) + reloadCalls(2);
    EXPECT_EQ(calls(), once + once);
    const std::string jobs = loaded();
    EXPECT_EQ(std::count(jobs.begin(), jobs.end(), '\n'), 3);
}

TEST_F(ScheduledScanners, FloodingOrSlowLaunchctlNeitherHangsNorChangesTheResult) {
    control("flood-load");
    control("flood-unload");
    control("sleep-load", "1");
    EXPECT_EQ(install(), kAllActive);
    EXPECT_EQ(calls(), reloadCalls(0) + reloadCalls(1) + reloadCalls(2));
}

}  // namespace
}  // namespace pellix
