#include <gtest/gtest.h>

#include <filesystem>

#include "TestSupport.h"
#include "jobs/PropertyLists.h"

namespace pellix {
namespace {

namespace fs = std::filesystem;
using test::TempDir;

const StepResult kWatching{StepStatus::success,
                           "All files verified, service running — Pellix is watching 🧠"};
const StepResult kNeedsRestart{StepStatus::warning, "Files OK, service may need restart"};

constexpr const char* kRequiredFiles[] = {
    "AGENTS.md",
    "SOUL.md",
    "HEARTBEAT.md",
    "README.md",
    "scripts/pellix-service.py",
    "scripts/setup.sh",
    "skills/pellix-core/SKILL.md",
};

class InstallVerification : public ::testing::Test {
protected:
    TempDir temp;
    std::string home = temp / "home";
    std::string fakeBin = test::installFakeCommands(temp / "bin");
    std::string pellixDir = home + "/.openclaw/workspace-main/agents/pellix-unified";
    test::WorkerSetup model{test::testPlatform(home, fakeBin)};

    void writeAgentFiles() {
        for (const char* relative : kRequiredFiles) {
            test::writeFile(pellixDir + "/" + relative, std::string("# ") + relative + "\n");
        }
    }
    // Loads a job through the fake launchctl, as an earlier install step would have.
    void loadJob(const std::string& label) {
        const std::string plist = temp / (label + ".plist");
        test::writeFile(
            plist, "<dict>\n    <key>Label</key>\n    <string>" + label + "</string>\n</dict>");
        const ShellResult loaded = model.host()
                                       .shellCommand("launchctl bootstrap gui/$(id -u) " + plist)
                                       .runToCompletion();
        ASSERT_EQ(loaded, (ShellResult{0, ""}));
    }
    StepResult verify() {
        return steps::verifyInstall(model.context(), pellixDir).runToCompletion();
    }
};

TEST_F(InstallVerification, AllFilesAndListedServiceGiveSuccess) {
    writeAgentFiles();
    loadJob(serviceJobLabel());
    EXPECT_EQ(verify(), kWatching);
}

TEST_F(InstallVerification, ReadmeMissingWithServiceLoadedGivesOneFilesMissing) {
    writeAgentFiles();
    fs::remove(pellixDir + "/README.md");
    loadJob(serviceJobLabel());
    EXPECT_EQ(verify(), (StepResult{StepStatus::warning, "1 files missing — partial install"}));
}

TEST_F(InstallVerification, NoDirectoryAtAllGivesSevenFilesMissing) {
    EXPECT_EQ(verify(), (StepResult{StepStatus::warning, "7 files missing — partial install"}));
}

TEST_F(InstallVerification, ServiceIsAskedForEvenWhenFilesAreMissing) {
    verify();
    EXPECT_EQ(test::readFile(fakeBin + "/calls.log"), "launchctl list\n");
}

TEST_F(InstallVerification, AllFilesWithoutTheServiceGiveFilesOk) {
    writeAgentFiles();
    loadJob(jobLabel(kScannerJobs[0].labelSuffix));
    EXPECT_EQ(verify(), kNeedsRestart);
}

TEST_F(InstallVerification, LabelHoldingPellixServiceInsideALongerWordCountsAsRunning) {
    writeAgentFiles();
    loadJob("com.example.notpellix-services");
    EXPECT_EQ(verify(), kWatching);
}

TEST_F(InstallVerification, DirectoryInPlaceOfAFileCountsAsPresent) {
    writeAgentFiles();
    fs::remove(pellixDir + "/SOUL.md");
    test::makeDirs(pellixDir + "/SOUL.md");
    loadJob(serviceJobLabel());
    EXPECT_EQ(verify(), kWatching);
}

TEST_F(InstallVerification, DanglingLinkCountsAsMissing) {
    writeAgentFiles();
    fs::remove(pellixDir + "/HEARTBEAT.md");
    fs::create_symlink(pellixDir + "/gone.md", pellixDir + "/HEARTBEAT.md");
    loadJob(serviceJobLabel());
    EXPECT_EQ(verify(), (StepResult{StepStatus::warning, "1 files missing — partial install"}));
}

TEST_F(InstallVerification, FailingListReadsAsServiceNotRunning) {
    writeAgentFiles();
    loadJob(serviceJobLabel());
    test::writeFile(fakeBin + "/fail-list", "");
    EXPECT_EQ(verify(), kNeedsRestart);
}

TEST_F(InstallVerification, FloodedOrSlowListingStillFindsTheService) {
    writeAgentFiles();
    loadJob(serviceJobLabel());
    test::writeFile(fakeBin + "/flood-list", "");
    test::writeFile(fakeBin + "/sleep-list", "1");
    EXPECT_EQ(verify(), kWatching);
}

TEST_F(InstallVerification, ShellThatCannotStartReadsAsServiceNotRunning) {
    writeAgentFiles();
    Platform platform = test::testPlatform(home, fakeBin);
    platform.shell = "/nonexistent/zsh";
    test::WorkerSetup broken(platform);
    EXPECT_EQ(steps::verifyInstall(broken.context(), pellixDir).runToCompletion(), kNeedsRestart);
}

}  // namespace
}  // namespace pellix
