#include <gtest/gtest.h>

#include <cstdint>
#include <filesystem>
#include <limits>
#include <nlohmann/json.hpp>

#include "FileChecks.h"
#include "TestSupport.h"
#include "Unprivileged.h"
#include "config/ConfigEdits.h"

namespace pellix {
namespace {

using test::inodeOf;

namespace fs = std::filesystem;
using nlohmann::json;

const StepResult kAdded{StepStatus::success, "Added to main agent's spawn allowlist"};
const StepResult kAlreadyAllowed{StepStatus::success, "Already in allowlist"};
const StepResult kCannotRead{StepStatus::warning, "Cannot read openclaw.json for allowlist"};
const StepResult kCannotSave{StepStatus::warning, "Failed to save allowlist change"};

class SpawnAllowlist : public ::testing::Test {
protected:
    StepResult allowIn(const std::string& before) {
        test::writeFile(config_, before);
        return steps::addToAllowlist(model_.context(), config_).runToCompletion();
    }
    json agentsAfter(const std::string& before) {
        EXPECT_EQ(allowIn(before), kAdded);
        return json::parse(test::readFile(config_))["agents"];
    }
    json allowedIn(const std::string& before) {
        EXPECT_EQ(allowIn(before), kAdded);
        return json::parse(test::readFile(config_));
    }
    // Untouched means not rewritten at all: the same bytes in the same file.
    void expectUntouchedBy(const std::string& before, const StepResult& expected) {
        test::writeFile(config_, before);
        const ino_t inode = inodeOf(config_);
        EXPECT_EQ(steps::addToAllowlist(model_.context(), config_).runToCompletion(), expected);
        EXPECT_EQ(test::readFile(config_), before);
        EXPECT_EQ(inodeOf(config_), inode);
    }

    test::TempDir home_;
    std::string config_ = home_ / "openclaw.json";
    test::WorkerSetup model_{test::testPlatform(home_.path())};
};

TEST_F(SpawnAllowlist, MainByIdWithoutSubagentsGetsAllowlistHoldingOnlyPellix) {
    EXPECT_EQ(allowIn(R"({"agents":{"list":[{"id":"main","model":"m"}]}})"), kAdded);
    EXPECT_EQ(test::readFile(config_), R"({
  "agents": {
    "list": [
      {
        "id": "main",
        "model": "m",
        "subagents": {
          "allowAgents": [
            "pellix"
          ]
        }
      }
    ]
  }
})");
}

TEST_F(SpawnAllowlist, MainByNameKeepsEarlierNameAndUnrelatedKey) {
    const json agents = agentsAfter(
        R"({"agents":{"list":[{"name":"main","subagents":{"allowAgents":["coder"],"max":2}}]}})");
    EXPECT_EQ(agents, json::parse(R"({"list":[{"name":"main",
        "subagents":{"allowAgents":["coder","pellix"],"max":2}}]})"));
}

TEST_F(SpawnAllowlist, OnlyTheFirstOfTwoMainEntriesGetsPellix) {
    const json agents = agentsAfter(R"({"agents":{"items":[{"id":"main"},{"name":"main"}]}})");
    EXPECT_EQ(agents, json::parse(R"({"items":[
        {"id":"main","subagents":{"allowAgents":["pellix"]}},{"name":"main"}]})"));
}

TEST_F(SpawnAllowlist, AllowlistHoldingOnlyPellixIsLeftUntouched) {
    expectUntouchedBy(
        R"({"agents":{"list":[{"id":"main","subagents":{"allowAgents":["pellix"]}}]}})",
        kAlreadyAllowed);
}

TEST_F(SpawnAllowlist, AllowlistWithANumberIsReplacedByPellixAlone) {
    const json agents = agentsAfter(
        R"({"agents":{"list":[{"id":"main","subagents":{"allowAgents":["coder",4]}}]}})");
    EXPECT_EQ(agents["list"][0]["subagents"]["allowAgents"], json::parse(R"(["pellix"])"));
}

TEST_F(SpawnAllowlist, NoAgentsKeyMeansAlreadyInAllowlistWithoutWriting) {
    expectUntouchedBy(R"({"gateway":{"port":18789}})", kAlreadyAllowed);
}

TEST_F(SpawnAllowlist, NoMainAgentMeansAlreadyInAllowlistWithoutWriting) {
    expectUntouchedBy(R"({"agents":{"list":[{"name":"coder"},{"id":"Main"}]}})", kAlreadyAllowed);
}

TEST_F(SpawnAllowlist, IdOtherThanMainHidesANameOfMain) {
    expectUntouchedBy(R"({"agents":{"list":[{"id":"helper","name":"main"}]}})", kAlreadyAllowed);
}

TEST_F(SpawnAllowlist, NumericIdFallsBackToName) {
    const json agents = agentsAfter(R"({"agents":{"list":[{"id":1,"name":"main"}]}})");
    EXPECT_EQ(agents["list"][0]["subagents"], json::parse(R"({"allowAgents":["pellix"]})"));
}

TEST_F(SpawnAllowlist, SubagentsOfAnotherTypeIsReplaced) {
    const json agents = agentsAfter(R"({"agents":{"list":[{"id":"main","subagents":["x"]}]}})");
    EXPECT_EQ(agents["list"][0]["subagents"], json::parse(R"({"allowAgents":["pellix"]})"));
}

TEST_F(SpawnAllowlist, ChangedListIsStoredUnderItemsWhenItemsKeyExists) {
    const json agents = agentsAfter(R"({"agents":{"items":null,"list":[{"id":"main"}]}})");
    EXPECT_EQ(agents,
              json::parse(R"({"items":[{"id":"main","subagents":{"allowAgents":["pellix"]}}],
        "list":[{"id":"main"}]})"));
}

TEST_F(SpawnAllowlist, SecondRunIsAlreadyInAllowlist) {
    EXPECT_EQ(allowIn(R"({"agents":{"list":[{"id":"main"}]}})"), kAdded);
    const std::string first = test::readFile(config_);
    expectUntouchedBy(first, kAlreadyAllowed);
}

TEST_F(SpawnAllowlist, MissingFileGivesWarning) {
    EXPECT_EQ(steps::addToAllowlist(model_.context(), config_).runToCompletion(), kCannotRead);
    EXPECT_FALSE(fs::exists(config_));
}

TEST_F(SpawnAllowlist, TextThatIsNotJsonGivesWarning) {
    expectUntouchedBy("{agents}", kCannotRead);
}

TEST_F(SpawnAllowlist, TopLevelArrayGivesWarning) {
    expectUntouchedBy(R"([{"id":"main"}])", kCannotRead);
}

TEST_F(SpawnAllowlist, UnreadableFileGivesWarning) {
    test::writeFile(config_, R"({"agents":{"list":[{"id":"main"}]}})");
    // Open to anyone, so that only the file's own missing read bit can stop the worker.
    fs::permissions(home_.path(), fs::perms(0755));
    fs::permissions(config_, fs::perms::none);
    if (const auto why = test::cannotRunUnprivilegedIn(home_.path())) GTEST_SKIP() << *why;
    EXPECT_EQ(test::runUnprivileged([this] {
                  return steps::addToAllowlist(model_.context(), config_).runToCompletion();
              }),
              kCannotRead);
    fs::permissions(config_, fs::perms(0600));
    EXPECT_EQ(test::readFile(config_), R"({"agents":{"list":[{"id":"main"}]}})");
}

TEST_F(SpawnAllowlist, DirectoryInPlaceOfTheFileGivesWarning) {
    test::makeDirs(config_);
    EXPECT_EQ(steps::addToAllowlist(model_.context(), config_).runToCompletion(), kCannotRead);
    EXPECT_TRUE(fs::is_directory(config_));
}

TEST_F(SpawnAllowlist, ReadOnlyFolderGivesSaveWarning) {
    test::writeFile(config_, R"({"agents":{"list":[{"id":"main"}]}})");
    // Readable by anyone, so that only the folder's missing write bit can stop the worker.
    fs::permissions(config_, fs::perms(0644));
    fs::permissions(home_.path(), fs::perms(0555));
    if (const auto why = test::cannotRunUnprivilegedIn(home_.path())) GTEST_SKIP() << *why;
    const StepResult result = test::runUnprivileged(
        [this] { return steps::addToAllowlist(model_.context(), config_).runToCompletion(); });
    fs::permissions(home_.path(), fs::perms(0755));
    EXPECT_EQ(result, kCannotSave);
    EXPECT_EQ(test::readFile(config_), R"({"agents":{"list":[{"id":"main"}]}})");
}

TEST_F(SpawnAllowlist, RefusedBytesGiveSaveWarningAndLeaveOldFileAndNoTemporary) {
    const std::string before = R"({"agents":{"list":[{"id":"main"}]}})";
    test::writeFile(config_, before);
    const StepResult result = [&] {
        test::FileSizeLimit limit(16);
        return steps::addToAllowlist(model_.context(), config_).runToCompletion();
    }();

    EXPECT_EQ(result, kCannotSave);
    EXPECT_EQ(test::readFile(config_), before);
    // Nothing left beside it: the new bytes fail before a backup is due, and no temporary file
    // stays.
    EXPECT_EQ(test::namesIn(home_.path()), std::vector<std::string>{"openclaw.json"});
}

TEST_F(SpawnAllowlist, SuccessfulWriteKeepsOwnerOnlyPermission) {
    test::writeFile(config_, R"({"agents":{"list":[{"id":"main"}]}})");
    fs::permissions(config_, fs::perms(0600));
    EXPECT_EQ(steps::addToAllowlist(model_.context(), config_).runToCompletion(), kAdded);
    EXPECT_EQ(fs::status(config_).permissions() & fs::perms::mask, fs::perms(0600));
    EXPECT_EQ(test::namesIn(home_.path()),
              (std::vector<std::string>{".pellix-installer", "openclaw.json"}));
}

TEST_F(SpawnAllowlist, HostNumbersKeepTheirValues) {
    const json written = allowedIn(
        R"({"agents":{"list":[{"id":"main"}]},"exact":9007199254740993,"min":-9223372036854775808,"max":18446744073709551615,)"
        R"("tenth":0.1,"huge":1e300,"half":1.5,"whole":2.0})");
    EXPECT_TRUE(written["exact"].is_number_integer());
    EXPECT_EQ(written["exact"].get<std::int64_t>(), 9007199254740993);
    EXPECT_EQ(written["min"].get<std::int64_t>(), std::numeric_limits<std::int64_t>::min());
    EXPECT_TRUE(written["max"].is_number_unsigned());
    EXPECT_EQ(written["max"].get<std::uint64_t>(), std::numeric_limits<std::uint64_t>::max());
    EXPECT_EQ(written["tenth"].get<double>(), 0.1);
    EXPECT_EQ(written["huge"].get<double>(), 1e300);
    EXPECT_EQ(written["half"].get<double>(), 1.5);
    EXPECT_TRUE(written["whole"].is_number_float());
}

TEST_F(SpawnAllowlist, HostUnicodeEscapesReadBackAsTheSameText) {
    const json written = allowedIn(
        R"({"agents":{"list":[{"id":"main"}]},"accent":"caf\u00e9","emoji":"\ud83d\ude00"})");
    EXPECT_EQ(written["accent"], "caf\xC3\xA9");
    EXPECT_EQ(written["emoji"], "\xF0\x9F\x98\x80");
}

TEST_F(SpawnAllowlist, HostEmptyObjectsAndArraysStayEmpty) {
    const json written = allowedIn(
        R"({"agents":{"list":[{"id":"main"}]},"object":{},"array":[],"deep":{"a":[{}, []]}})");
    EXPECT_TRUE(written["object"].is_object() && written["object"].empty());
    EXPECT_TRUE(written["array"].is_array() && written["array"].empty());
    EXPECT_EQ(written["deep"], json::parse(R"({"a":[{}, []]})"));
}

TEST_F(SpawnAllowlist, AllowPellixReportsWhetherTheDocumentChanged) {
    std::optional<ConfigDocument> document =
        ConfigDocument::parse(R"({"agents":{"list":[{"name":"main"}]}})");
    ASSERT_NE(document, std::nullopt);
    EXPECT_TRUE(allowPellix(*document));
    const std::string once = document->serialize().value();
    EXPECT_FALSE(allowPellix(*document));
    EXPECT_EQ(document->serialize(), once);
}

}  // namespace
}  // namespace pellix
