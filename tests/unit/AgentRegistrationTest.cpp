#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "FileChecks.h"
#include "TestSupport.h"
#include "Unprivileged.h"
#include "config/ConfigEdits.h"

namespace pellix {
namespace {

using test::FileSizeLimit;
using test::inodeOf;
using test::namesIn;

namespace fs = std::filesystem;
using nlohmann::json;

const json kSonnetEntry = json::parse(R"({
    "name": "pellix", "description": "Behavioral drift detection & AI conscience",
    "model": "anthropic/claude-sonnet-4-20250514", "heartbeatIntervalMinutes": 15,
    "heartbeatModel": "anthropic/claude-sonnet-4-20250514", "agentsDir": "agents/pellix-unified",
    "tools": ["read", "web_fetch", "exec", "message"]})");

// The expected "agents" value, with PELLIX standing for the entry the installer appends.
json agentsWithEntry(std::string text) {
    const auto at = text.find("PELLIX");
    if (at != std::string::npos) text.replace(at, 6, kSonnetEntry.dump());
    return json::parse(text);
}

class AgentRegistration : public ::testing::Test {
protected:
    StepResult registerIn(const std::string& before) {
        test::writeFile(config_, before);
        return steps::registerPellixAgent(model_.context(), config_).runToCompletion();
    }
    json written() const { return json::parse(test::readFile(config_)); }
    json agentsAfter(const std::string& before) {
        EXPECT_EQ(registerIn(before),
                  (StepResult{StepStatus::success, "Registered with sonnet model, 15m scan"}));
        return written()["agents"];
    }
    void expectAlreadyRegistered(const std::string& before) {
        EXPECT_EQ(registerIn(before), (StepResult{StepStatus::success, "Already registered"}));
        EXPECT_EQ(test::readFile(config_), before);
    }

    test::TempDir home_;
    std::string config_ = home_ / "openclaw.json";
    test::WorkerSetup model_{test::testPlatform(home_.path())};
};

TEST_F(AgentRegistration, WithoutAgentsKeyCreatesAgentsHoldingOnlyListWithTheEntry) {
    EXPECT_EQ(registerIn(R"({"gateway":{"port":18789}})"),
              (StepResult{StepStatus::success, "Registered with sonnet model, 15m scan"}));
    EXPECT_EQ(test::readFile(config_), R"({
  "agents": {
    "list": [
      {
        "agentsDir": "agents/pellix-unified",
        "description": "Behavioral drift detection & AI conscience",
        "heartbeatIntervalMinutes": 15,
        "heartbeatModel": "anthropic/claude-sonnet-4-20250514",
        "model": "anthropic/claude-sonnet-4-20250514",
        "name": "pellix",
        "tools": [
          "read",
          "web_fetch",
          "exec",
          "message"
        ]
      }
    ]
  },
  "gateway": {
    "port": 18789
  }
})");
}

TEST_F(AgentRegistration, AgentsHoldingAnArrayIsReplacedByObjectHoldingOnlyList) {
    EXPECT_EQ(agentsAfter(R"({"agents":[{"name":"a"}]})"), agentsWithEntry(R"({"list":[PELLIX]})"));
}

TEST_F(AgentRegistration, AgentsHoldingAStringIsReplacedByObjectHoldingOnlyList) {
    EXPECT_EQ(agentsAfter(R"({"agents":"none"})"), agentsWithEntry(R"({"list":[PELLIX]})"));
}

TEST_F(AgentRegistration, AppendsToItemsArray) {
    EXPECT_EQ(agentsAfter(R"({"agents":{"items":[{"name":"main"}],"list":[{"name":"b"}]}})"),
              agentsWithEntry(R"({"items":[{"name":"main"},PELLIX],"list":[{"name":"b"}]})"));
}

TEST_F(AgentRegistration, AppendsToListWhenOnlyListExists) {
    EXPECT_EQ(agentsAfter(R"({"agents":{"defaults":{},"list":[{"id":"main"}]}})"),
              agentsWithEntry(R"({"defaults":{},"list":[{"id":"main"},PELLIX]})"));
}

TEST_F(AgentRegistration, NumericItemsIsOverwrittenWithListEntriesAndListIsKept) {
    EXPECT_EQ(agentsAfter(R"({"agents":{"items":3,"list":[{"name":"a"}]}})"),
              agentsWithEntry(R"({"items":[{"name":"a"},PELLIX],"list":[{"name":"a"}]})"));
}

TEST_F(AgentRegistration, KeepsEarlierEntryWhenIdIsPellix) {
    expectAlreadyRegistered(R"({"agents":{"list":[{"id":"pellix","model":"x"}]}})");
}

TEST_F(AgentRegistration, KeepsEarlierEntryWhenNameIsPellix) {
    expectAlreadyRegistered(R"({"agents":{"items":[{"name":"a"},{"name":"pellix"}]}})");
}

TEST_F(AgentRegistration, NameWithCapitalPIsNotAMatch) {
    EXPECT_EQ(agentsAfter(R"({"agents":{"list":[{"name":"Pellix"}]}})"),
              agentsWithEntry(R"({"list":[{"name":"Pellix"},PELLIX]})"));
}

TEST_F(AgentRegistration, NumericNameStillLetsIdMatch) {
    expectAlreadyRegistered(R"({"agents":{"list":[{"name":7,"id":"pellix"}]}})");
}

TEST_F(AgentRegistration, NumericNameAndOtherIdIsNotAMatch) {
    EXPECT_EQ(agentsAfter(R"({"agents":{"list":[{"name":7,"id":"main"}]}})"),
              agentsWithEntry(R"({"list":[{"name":7,"id":"main"},PELLIX]})"));
}

TEST_F(AgentRegistration, ListWithANonObjectIsReplacedByNewList) {
    EXPECT_EQ(agentsAfter(R"({"agents":{"list":[{"name":"pellix"},"x"]}})"),
              agentsWithEntry(R"({"list":[PELLIX]})"));
}

TEST_F(AgentRegistration, ItemsWithANonObjectIsReplacedUnderItems) {
    EXPECT_EQ(agentsAfter(R"({"agents":{"items":[1],"list":[2]}})"),
              agentsWithEntry(R"({"items":[PELLIX],"list":[2]})"));
}

TEST_F(AgentRegistration, SecondRunReportsAlreadyRegisteredAndWritesNothing) {
    agentsAfter("{}");
    const std::string first = test::readFile(config_);
    const ino_t inode = inodeOf(config_);
    EXPECT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion(),
              (StepResult{StepStatus::success, "Already registered"}));
    EXPECT_EQ(test::readFile(config_), first);
    EXPECT_EQ(inodeOf(config_), inode);
}

TEST_F(AgentRegistration, EachModelChoiceWritesItsIdentifierAndShowsTheWord) {
    const std::pair<std::string, std::string> cases[] = {
        {"opus", "anthropic/claude-opus-4-6"},
        {"haiku", "anthropic/claude-haiku-3-5-20241022"},
        {"sonnet", "anthropic/claude-sonnet-4-20250514"},
        {"Opus", "anthropic/claude-sonnet-4-20250514"},
        {"", "anthropic/claude-sonnet-4-20250514"},
    };
    for (const auto& [choice, identifier] : cases) {
        SCOPED_TRACE(choice);
        EXPECT_EQ(modelIdentifier(choice), identifier);
        model_.choices.modelChoice = choice;
        EXPECT_EQ(registerIn("{}"), (StepResult{StepStatus::success,
                                                "Registered with " + choice + " model, 15m scan"}));
        const json entry = written()["agents"]["list"][0];
        EXPECT_EQ(entry["model"], identifier);
        EXPECT_EQ(entry["heartbeatModel"], identifier);
    }
}

TEST_F(AgentRegistration, EachScanPresetWritesItsMinutes) {
    const std::pair<std::string, int> cases[] = {
        {"vigilant", 5},  {"relaxed", 60}, {"daily", 1440},
        {"standard", 15}, {"Daily", 15},   {"", 15},
    };
    for (const auto& [preset, minutes] : cases) {
        SCOPED_TRACE(preset);
        EXPECT_EQ(heartbeatMinutes(preset), minutes);
        model_.choices.scanPreset = preset;
        EXPECT_EQ(registerIn("{}"),
                  (StepResult{StepStatus::success, "Registered with sonnet model, " +
                                                       std::to_string(minutes) + "m scan"}));
        const json writtenMinutes = written()["agents"]["list"][0]["heartbeatIntervalMinutes"];
        EXPECT_TRUE(writtenMinutes.is_number_integer());
        EXPECT_EQ(writtenMinutes, minutes);
    }
}

TEST_F(AgentRegistration, MissingFileCannotBeRead) {
    EXPECT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion(),
              (StepResult{StepStatus::failed, "Cannot read openclaw.json"}));
    EXPECT_FALSE(fs::exists(config_));
}

TEST_F(AgentRegistration, TextThatIsNotJsonCannotBeRead) {
    EXPECT_EQ(registerIn("agents: [pellix]"),
              (StepResult{StepStatus::failed, "Cannot read openclaw.json"}));
    EXPECT_EQ(test::readFile(config_), "agents: [pellix]");
}

TEST_F(AgentRegistration, TopLevelArrayCannotBeRead) {
    EXPECT_EQ(registerIn(R"([{"agents":{}}])"),
              (StepResult{StepStatus::failed, "Cannot read openclaw.json"}));
    EXPECT_EQ(test::readFile(config_), R"([{"agents":{}}])");
}

TEST_F(AgentRegistration, ReadOnlyFolderFailsToWrite) {
    test::writeFile(config_, "{}");
    // Readable by anyone, so that only the folder's missing write bit can stop the worker.
    fs::permissions(config_, fs::perms(0644));
    fs::permissions(home_.path(), fs::perms(0555));
    if (const auto why = test::cannotRunUnprivilegedIn(home_.path())) GTEST_SKIP() << *why;
    const StepResult result = test::runUnprivileged(
        [this] { return steps::registerPellixAgent(model_.context(), config_).runToCompletion(); });
    fs::permissions(home_.path(), fs::perms(0755));
    EXPECT_EQ(result, (StepResult{StepStatus::failed, "Failed to write openclaw.json"}));
    EXPECT_EQ(test::readFile(config_), "{}");
    EXPECT_EQ(namesIn(home_.path()), std::vector<std::string>{"openclaw.json"});
}

TEST_F(AgentRegistration, RefusedBytesFailToWriteAndLeaveOldFileAndNoTemporary) {
    test::writeFile(config_, R"({"keep":"these bytes"})");
    StepResult result;
    {
        FileSizeLimit limit(16);
        result = steps::registerPellixAgent(model_.context(), config_).runToCompletion();
    }
    EXPECT_EQ(result, (StepResult{StepStatus::failed, "Failed to write openclaw.json"}));
    EXPECT_EQ(test::readFile(config_), R"({"keep":"these bytes"})");
    // Nothing left beside it: the new bytes fail before a backup is due, and no temporary file
    // stays.
    EXPECT_EQ(namesIn(home_.path()), std::vector<std::string>{"openclaw.json"});
}

TEST_F(AgentRegistration, NameLeavingNoRoomForTemporaryFailsToWrite) {
    config_ = home_ / std::string(250, 'c');
    EXPECT_EQ(registerIn("{}"), (StepResult{StepStatus::failed, "Failed to write openclaw.json"}));
    EXPECT_EQ(test::readFile(config_), "{}");
}

TEST_F(AgentRegistration, SuccessfulWriteKeepsOwnerOnlyPermissionAndLeavesNoTemporary) {
    test::writeFile(config_, "{}");
    fs::permissions(config_, fs::perms(0600));
    agentsAfter("{}");
    EXPECT_EQ(fs::status(config_).permissions() & fs::perms::mask, fs::perms(0600));
    EXPECT_EQ(namesIn(home_.path()),
              (std::vector<std::string>{".pellix-installer", "openclaw.json"}));
}

TEST_F(AgentRegistration, SymbolicLinkStaysALinkAndItsTargetGetsTheEntry) {
    const std::string target = home_ / "real/openclaw.json";
    test::writeFile(target, "{}");
    fs::create_symlink("real/openclaw.json", config_);
    EXPECT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion(),
              (StepResult{StepStatus::success, "Registered with sonnet model, 15m scan"}));
    EXPECT_TRUE(fs::is_symlink(config_));
    EXPECT_EQ(fs::read_symlink(config_), "real/openclaw.json");
    EXPECT_EQ(json::parse(test::readFile(target))["agents"],
              agentsWithEntry(R"({"list":[PELLIX]})"));
    EXPECT_EQ(namesIn(home_ / "real"), std::vector<std::string>{"openclaw.json"});
}

TEST_F(AgentRegistration, DanglingSymbolicLinkCannotBeRead) {
    fs::create_symlink(home_ / "missing/openclaw.json", config_);
    EXPECT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion(),
              (StepResult{StepStatus::failed, "Cannot read openclaw.json"}));
    EXPECT_FALSE(fs::exists(home_ / "missing"));
}

}  // namespace
}  // namespace pellix
