#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <filesystem>

#include "TestSupport.h"
#include "jobs/PropertyLists.h"

namespace pellix {
namespace {

namespace fs = std::filesystem;
using test::TempDir;

const StepResult kRunning{StepStatus::success, "Always-on service running (30s session polling)"};
const StepResult kMayNeedLogin{StepStatus::warning,
                               "Service installed but may need login/restart to activate"};
const StepResult kCouldNotWrite{StepStatus::warning, "Could not write plist — install manually"};

class LaunchdService : public ::testing::Test {
protected:
    TempDir temp;
    std::string home = temp / "home";
    std::string fakeBin = test::installFakeCommands(temp / "bin");
    std::string pellixDir = home + "/.openclaw/workspace-main/agents/pellix-unified";
    std::string uid = std::to_string(::getuid());

    void SetUp() override {
        test::makeDirs(home);
        // A python3 first on the children's PATH makes the interpreter line predictable.
        test::writeFile(fakeBin + "/python3", "#!/bin/sh\n");
        fs::permissions(fakeBin + "/python3", fs::perms::owner_all);
    }

    StepResult install(const std::string& forHome) {
        test::WorkerSetup model(test::testPlatform(forHome, fakeBin));
        return steps::installAlwaysOnService(model.context(), pellixDir).runToCompletion();
    }
    StepResult install() { return install(home); }
    std::string plistIn(const std::string& forHome) const {
        return forHome + "/Library/LaunchAgents/ai.pellix.pellix-service.plist";
    }
    std::string plist() const { return plistIn(home); }
    std::string expectedText(const std::string& forHome) const {
        return propertyList(kServiceJob,
                            {pellixDir, fakeBin + "/python3", forHome, forHome + "/.openclaw"});
    }
    std::string calls() const { return test::readFile(fakeBin + "/calls.log"); }
    std::string loadCalls(const std::string& path) const {
        return "launchctl bootout gui/" + uid + " " + path + "\nlaunchctl bootstrap gui/" + uid +
               " " + path + "\nlaunchctl print gui/" + uid + "/ai.pellix.pellix-service\n";
    }
    void control(const std::string& name, const std::string& content = "") const {
        test::writeFile(fakeBin + "/" + name, content);
    }
};

TEST_F(LaunchdService, CreatesMissingLaunchAgentsFolderThenWritesTheFile) {
    ASSERT_FALSE(fs::exists(home + "/Library"));
    EXPECT_EQ(install(), kRunning);
    EXPECT_TRUE(fs::is_directory(home + "/Library/LaunchAgents"));
    EXPECT_EQ(test::readFile(plist()), expectedText(home));
}

TEST_F(LaunchdService, BootsOutBootstrapsThenPrintsInThatOrder) {
    EXPECT_EQ(install(), kRunning);
    EXPECT_EQ(calls(), loadCalls(plist()));
}

TEST_F(LaunchdService, SecondRunReplacesTheFileAndReloadsTheJob) {
    EXPECT_EQ(install(), kRunning);
    test::writeFile(plist(), "stale");
    EXPECT_EQ(install(), kRunning);
    EXPECT_EQ(test::readFile(plist()), expectedText(home));
    EXPECT_EQ(calls(), loadCalls(plist()) + loadCalls(plist()));
}

TEST_F(LaunchdService, WrittenFileHasThirtyLinesAndEndsInClosingTagWithoutLineFeed) {
    install();
    const std::string text = test::readFile(plist());
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 29);
    EXPECT_TRUE(text.ends_with("\n</plist>"));
}

TEST_F(LaunchdService, PrintThatSaysNothingGivesTheWarning) {
    control("silent-print");
    EXPECT_EQ(install(), kMayNeedLogin);
    EXPECT_EQ(calls(), loadCalls(plist()));
}

TEST_F(LaunchdService, LaunchAgentsThatIsAFileGivesWriteWarningAndNoLaunchctl) {
    test::writeFile(home + "/Library/LaunchAgents", "not a folder");
    EXPECT_EQ(install(), kCouldNotWrite);
    EXPECT_FALSE(fs::exists(fakeBin + "/calls.log"));
}

TEST_F(LaunchdService, LaunchAgentsThatIsADanglingLinkGivesWriteWarningAndNoLaunchctl) {
    test::makeDirs(home + "/Library");
    fs::create_symlink(temp / "nowhere/LaunchAgents", home + "/Library/LaunchAgents");
    EXPECT_EQ(install(), kCouldNotWrite);
    EXPECT_FALSE(fs::exists(fakeBin + "/calls.log"));
}

TEST_F(LaunchdService, PellixDirWithBlankIsWrittenVerbatimAndLoads) {
    pellixDir = home + "/My Agents/pellix-unified";
    EXPECT_EQ(install(), kRunning);
    EXPECT_EQ(test::readFile(plist()), expectedText(home));
}

TEST_F(LaunchdService, OpenclawHomeFromTheEnvironmentIsWrittenOnLineTwentySeven) {
    test::WorkerSetup model(test::testPlatform(home, fakeBin, std::string("/srv/claw")));
    EXPECT_EQ(steps::installAlwaysOnService(model.context(), pellixDir).runToCompletion(),
              kRunning);
    EXPECT_EQ(test::readFile(plist()),
              propertyList(kServiceJob, {pellixDir, fakeBin + "/python3", home, "/srv/claw"}));
}

// The unquoted path splits in two, so nothing gets loaded; launchd's "not found" reply names the
// label, and on systems that print only that line the label test still passes.
TEST_F(LaunchdService, HomeWithBlankBreaksTheLoadLineButTheNotFoundReplyNamesTheLabel) {
    const std::string blankHome = temp / "my home";
    EXPECT_EQ(install(blankHome), kRunning);
    EXPECT_EQ(test::readFile(plistIn(blankHome)), expectedText(blankHome));
    EXPECT_EQ(test::readFile(fakeBin + "/loaded"), "");
}

TEST_F(LaunchdService, HomeWithBlankGivesWarningWhereBadRequestComesFirst) {
    control("bad-request");
    EXPECT_EQ(install(temp / "my home"), kMayNeedLogin);
}

TEST_F(LaunchdService, FailedBootstrapShowsOnlyThroughThePrintLine) {
    control("fail-bootstrap");
    control("fail-bootout");
    control("bad-request");
    EXPECT_EQ(install(), kMayNeedLogin);
    EXPECT_EQ(calls(), loadCalls(plist()));
}

TEST_F(LaunchdService, FloodingOrSlowLaunchctlNeitherHangsNorChangesTheResult) {
    control("flood-bootout");
    control("flood-bootstrap");
    control("sleep-bootstrap", "1");
    control("sleep-print", "1");
    EXPECT_EQ(install(), kRunning);
    EXPECT_EQ(calls(), loadCalls(plist()));
}

TEST_F(LaunchdService, ExistingFileIsReplacedKeepingItsPermissions) {
    test::writeFile(plist(), "old");
    fs::permissions(plist(), fs::perms::owner_read | fs::perms::owner_write);
    EXPECT_EQ(install(), kRunning);
    EXPECT_EQ(test::readFile(plist()), expectedText(home));
    EXPECT_EQ(fs::status(plist()).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
}

}  // namespace
}  // namespace pellix
