#include "config/OpenClawConfig.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <regex>

#include "FileChecks.h"
#include "TestSupport.h"

namespace pellix {
namespace {

namespace fs = std::filesystem;
using test::inodeOf;
using test::namesIn;
using test::readFile;

const std::string kOriginal =
    R"({"agents":{"list":[{"id":"main","subagents":{"allowAgents":["coder"]}}]},)"
    R"("key":"sk-123",  "n": 18446744073709551616})";

class OpenClawConfig : public ::testing::Test {
protected:
    void SetUp() override {
        test::writeFile(config_, kOriginal);
        fs::permissions(config_, fs::perms(0640));
    }
    void install() {
        ASSERT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion().status,
                  StepStatus::success);
        ASSERT_EQ(steps::addToAllowlist(model_.context(), config_).runToCompletion().status,
                  StepStatus::success);
    }
    mode_t modeOf(const std::string& path) const {
        struct stat info {};
        EXPECT_EQ(::stat(path.c_str(), &info), 0) << path;
        return info.st_mode & 07777;
    }

    test::TempDir home_;
    std::string config_ = home_ / "openclaw.json";
    std::string backup_ = home_ / ".pellix-installer/openclaw.json.backup";
    test::WorkerSetup model_{test::testPlatform(home_.path())};
};

TEST_F(OpenClawConfig, InspectSeesNothingOfPellixBeforeAnInstall) {
    const PellixConfigState state = inspectPellixConfig(config_);
    EXPECT_TRUE(state.readable);
    EXPECT_FALSE(state.registered);
    EXPECT_EQ(state.model, "");
    EXPECT_EQ(state.heartbeatMinutes, "");
    EXPECT_FALSE(state.allowlisted);
}

TEST_F(OpenClawConfig, InspectShowsTheEntryAndTheAllowlistAfterAnInstall) {
    model_.choices.modelChoice = "opus";
    model_.choices.scanPreset = "daily";
    install();
    const PellixConfigState state = inspectPellixConfig(config_);
    EXPECT_TRUE(state.readable);
    EXPECT_TRUE(state.registered);
    EXPECT_EQ(state.model, "anthropic/claude-opus-4-6");
    EXPECT_EQ(state.heartbeatMinutes, "1440");
    EXPECT_TRUE(state.allowlisted);
}

TEST_F(OpenClawConfig, InspectGivesTheIntervalAsWrittenAndIgnoresAModelThatIsNoString) {
    test::writeFile(config_, R"({"agents":{"items":[{"id":"pellix","model":5,)"
                             R"("heartbeatIntervalMinutes":1.50E1}]}})");
    const PellixConfigState state = inspectPellixConfig(config_);
    EXPECT_TRUE(state.registered);
    EXPECT_EQ(state.model, "");
    EXPECT_EQ(state.heartbeatMinutes, "1.50E1");
    EXPECT_FALSE(state.hasMainAgent);
    EXPECT_FALSE(state.allowlisted);
}

TEST_F(OpenClawConfig, InspectFindsTheMainAgentByIdBeforeName) {
    test::writeFile(config_, R"({"agents":{"list":[{"id":"other","name":"main"}]}})");
    EXPECT_FALSE(inspectPellixConfig(config_).hasMainAgent);
    test::writeFile(config_, R"({"agents":{"list":[{"name":"main"}]}})");
    EXPECT_TRUE(inspectPellixConfig(config_).hasMainAgent);
}

TEST_F(OpenClawConfig, InspectCallsAFileWithTextAfterTheObjectUnreadable) {
    test::writeFile(config_, std::string("{}\0{}", 5));
    EXPECT_FALSE(inspectPellixConfig(config_).readable);
    EXPECT_FALSE(inspectPellixConfig(home_ / "missing.json").readable);
}

TEST_F(OpenClawConfig, NoBackupBeforeTheFirstWrite) {
    EXPECT_EQ(findConfigBackup(config_), std::nullopt);
    EXPECT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion().status,
              StepStatus::success);
    const std::optional<ConfigBackupInfo> backup = findConfigBackup(config_);
    ASSERT_NE(backup, std::nullopt);
    EXPECT_EQ(backup->path, backup_);
    EXPECT_TRUE(std::regex_match(backup->takenAt, std::regex(R"(\d{4}-\d\d-\d\dT\d\d:\d\d:\d\dZ)")))
        << backup->takenAt;
}

TEST_F(OpenClawConfig, BackupHoldsTheExactBytesReadableByTheUserAlone) {
    install();
    EXPECT_EQ(readFile(backup_), kOriginal);
    EXPECT_EQ(modeOf(backup_), 0600u);
    EXPECT_EQ(modeOf(home_ / ".pellix-installer"), 0700u);
    EXPECT_EQ(modeOf(config_), 0640u);
}

TEST_F(OpenClawConfig, BackupIsNotReplacedWhenTheFileIsWhatTheInstallerWrote) {
    install();
    std::string changed = readFile(config_);
    changed.replace(changed.find("sk-123"), 6, "sk-456");
    test::writeFile(config_, changed);
    // The removal's result holds no Pellix and is the installer's own: the next install keeps
    // the copy from before the first one.
    ASSERT_EQ(removePellixFromConfig(config_).outcome, ConfigRemoval::removed);
    install();
    EXPECT_EQ(readFile(backup_), kOriginal);
}

TEST_F(OpenClawConfig, BackupIsNotReplacedByAFileThatAlreadyHoldsPellix) {
    install();
    std::string edited = readFile(config_);
    edited.replace(edited.find("\"coder\","), 8, "");
    test::writeFile(config_, edited);
    ASSERT_EQ(steps::addToAllowlist(model_.context(), config_).runToCompletion().status,
              StepStatus::success);
    EXPECT_EQ(readFile(backup_), kOriginal);
}

TEST_F(OpenClawConfig, BackupIsRetakenWhenTheHostRewroteTheFileWithoutPellix) {
    install();
    ASSERT_EQ(removePellixFromConfig(config_).outcome, ConfigRemoval::restoredBackup);
    const std::string hostVersion = R"({"agents":{"list":[{"id":"main"}]},"v":2})";
    test::writeFile(config_, hostVersion);
    install();
    EXPECT_EQ(readFile(backup_), hostVersion);
}

TEST_F(OpenClawConfig, RemovalPutsBackTheBackupWhenTheFileIsWhatTheInstallerWrote) {
    install();
    EXPECT_EQ(removePellixFromConfig(config_).outcome, ConfigRemoval::restoredBackup);
    EXPECT_EQ(readFile(config_), kOriginal);
    EXPECT_EQ(modeOf(config_), 0640u);
}

TEST_F(OpenClawConfig, RemovalEditsAFileSomeoneElseChangedAndKeepsTheirChange) {
    install();
    std::string changed = readFile(config_);
    changed.replace(changed.find("\"key\": \"sk-123\""), 15, "\"key\": \"sk-456\"");
    test::writeFile(config_, changed);
    EXPECT_EQ(removePellixFromConfig(config_).outcome, ConfigRemoval::removed);
    EXPECT_EQ(readFile(config_), R"({
  "agents": {
    "list": [
      {
        "id": "main",
        "subagents": {
          "allowAgents": [
            "coder"
          ]
        }
      }
    ]
  },
  "key": "sk-456",
  "n": 18446744073709551616
})");
    EXPECT_EQ(modeOf(config_), 0640u);
}

TEST_F(OpenClawConfig, SecondRemovalIsANoOpThatDoesNotRewriteTheFile) {
    install();
    ASSERT_EQ(removePellixFromConfig(config_).outcome, ConfigRemoval::restoredBackup);
    const ino_t inode = inodeOf(config_);
    EXPECT_EQ(removePellixFromConfig(config_).outcome, ConfigRemoval::nothingToRemove);
    EXPECT_EQ(inodeOf(config_), inode);
    EXPECT_EQ(readFile(config_), kOriginal);
}

TEST_F(OpenClawConfig, RemovalWithoutAnyBackupEditsTheFile) {
    test::writeFile(config_, R"({"agents":{"list":[{"name":"pellix"}]},"a":1.0})");
    EXPECT_EQ(removePellixFromConfig(config_).outcome, ConfigRemoval::removed);
    EXPECT_EQ(readFile(config_), "{\n  \"a\": 1.0,\n  \"agents\": {\n    \"list\": []\n  }\n}");
}

TEST_F(OpenClawConfig, RemovalLeavesAnUnreadableFileUntouched) {
    const std::string bytes = "{\"agents\":{\"list\":[{\"name\":\"pellix\"}]}} x";
    test::writeFile(config_, bytes);
    const ino_t inode = inodeOf(config_);
    EXPECT_EQ(removePellixFromConfig(config_).outcome, ConfigRemoval::unreadable);
    EXPECT_EQ(readFile(config_), bytes);
    EXPECT_EQ(inodeOf(config_), inode);
}

TEST_F(OpenClawConfig, RemovalWithoutAFileHasNothingToRemove) {
    EXPECT_EQ(removePellixFromConfig(home_ / "absent.json").outcome,
              ConfigRemoval::nothingToRemove);
    EXPECT_EQ(namesIn(home_.path()), std::vector<std::string>{"openclaw.json"});
}

TEST_F(OpenClawConfig, RemovalThatCannotWriteReportsItAndKeepsTheFile) {
    const std::string bytes = R"({"agents":{"list":[{"name":"pellix"}]}})";
    test::writeFile(config_, bytes);
    ConfigRemoval outcome{};
    {
        test::FileSizeLimit limit(8);
        outcome = removePellixFromConfig(config_).outcome;
    }
    EXPECT_EQ(outcome, ConfigRemoval::writeFailed);
    EXPECT_EQ(readFile(config_), bytes);
}

TEST_F(OpenClawConfig, RestoreWithoutABackupTouchesNothing) {
    const ConfigRestoreResult result = restoreConfigBackup(config_);
    EXPECT_EQ(result.outcome, ConfigRestore::noBackup);
    EXPECT_EQ(result.keptAsidePath, "");
    EXPECT_EQ(namesIn(home_.path()), std::vector<std::string>{"openclaw.json"});
    EXPECT_EQ(readFile(config_), kOriginal);
}

TEST_F(OpenClawConfig, RestorePutsBackTheBytesAndModeAndKeepsTheCurrentFileAside) {
    install();
    const std::string installed = readFile(config_);
    fs::permissions(config_, fs::perms(0600));
    const ConfigRestoreResult result = restoreConfigBackup(config_);
    EXPECT_EQ(result.outcome, ConfigRestore::restored);
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(readFile(config_), kOriginal);
    EXPECT_EQ(modeOf(config_), 0640u);
    EXPECT_TRUE(std::regex_match(
        result.keptAsidePath, std::regex(home_ / R"(openclaw\.json\.before-restore-\d{8}T\d{6}Z)")))
        << result.keptAsidePath;
    EXPECT_EQ(readFile(result.keptAsidePath), installed);
    EXPECT_EQ(modeOf(result.keptAsidePath), 0600u);
}

TEST_F(OpenClawConfig, RestoreTwiceKeepsBothEarlierFilesAside) {
    install();
    const ConfigRestoreResult first = restoreConfigBackup(config_);
    const ConfigRestoreResult second = restoreConfigBackup(config_);
    ASSERT_EQ(first.outcome, ConfigRestore::restored);
    ASSERT_EQ(second.outcome, ConfigRestore::restored);
    EXPECT_NE(first.keptAsidePath, second.keptAsidePath);
    EXPECT_EQ(readFile(second.keptAsidePath), kOriginal);
    EXPECT_NE(readFile(first.keptAsidePath), kOriginal);
}

TEST_F(OpenClawConfig, RestoreRecreatesAMissingFile) {
    install();
    fs::remove(config_);
    const ConfigRestoreResult result = restoreConfigBackup(config_);
    EXPECT_EQ(result.outcome, ConfigRestore::restored);
    EXPECT_EQ(result.keptAsidePath, "");
    EXPECT_EQ(readFile(config_), kOriginal);
    EXPECT_EQ(modeOf(config_), 0640u);
}

TEST_F(OpenClawConfig, RestoreWritesThroughASymbolicLink) {
    const std::string target = home_ / "real/openclaw.json";
    test::writeFile(target, kOriginal);
    fs::remove(config_);
    fs::create_symlink("real/openclaw.json", config_);
    install();
    ASSERT_EQ(restoreConfigBackup(config_).outcome, ConfigRestore::restored);
    EXPECT_TRUE(fs::is_symlink(config_));
    EXPECT_EQ(readFile(target), kOriginal);
}

}  // namespace
}  // namespace pellix
