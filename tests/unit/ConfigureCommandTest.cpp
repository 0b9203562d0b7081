// `configure`: the installed agent's choices changed in place, in the entry's own form, with
// nothing written and no restart when nothing differs.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>

#include "InProcessCommands.h"
#include "TestSupport.h"
#include "config/ConfigDocument.h"
#include "config/ConfigEdits.h"

using nlohmann::json;

namespace pellix {
namespace {

class ConfigureCommand : public test::InProcessCommands {
protected:
    // The entry in whichever list of agents holds it.
    json pellixEntry() {
        const json config = json::parse(test::readFile(sandbox.configFile()));
        for (const auto& [key, agents] : config["agents"].items()) {
            if (!agents.is_array()) continue;
            for (const json& entry : agents) {
                if (entry.value("name", "") == "pellix") return entry;
            }
        }
        return nullptr;
    }
    static std::size_t count(const std::string& text, const std::string& what) {
        std::size_t n = 0;
        for (auto at = text.find(what); at != std::string::npos; at = text.find(what, at + 1)) ++n;
        return n;
    }
};

TEST_F(ConfigureCommand, ChangesTheIntervalAndModelInPlaceAndRestartsTheGateway) {
    install();
    const std::size_t restartsBefore = count(sandbox.calls(), "gateway restart");
    const json result = runJson({"configure", "--scan", "daily", "--model", "opus"});
    EXPECT_EQ(exitStatus, 0) << err.str();
    EXPECT_EQ(result["changed"], true);
    EXPECT_EQ(result["before"]["scanPreset"], "standard");
    EXPECT_EQ(result["after"]["scanPreset"], "daily");
    const json entry = pellixEntry();
    EXPECT_EQ(entry["heartbeatIntervalMinutes"], 1440);
    EXPECT_EQ(entry["model"], "anthropic/claude-opus-4-6");
    EXPECT_EQ(entry["heartbeatModel"], "anthropic/claude-opus-4-6");
    EXPECT_EQ(count(sandbox.calls(), "gateway restart"), restartsBefore + 1);
    const json receipt =
        json::parse(test::readFile(sandbox.openclawHome() + "/.pellix-installer/receipt.json"));
    EXPECT_EQ(receipt["choices"]["scanPreset"], "daily");
    EXPECT_EQ(receipt["choices"]["modelChoice"], "opus");
}

TEST_F(ConfigureCommand, AChoiceLeftOutKeepsTheOneInEffect) {
    install();
    runJson({"configure", "--model", "haiku"});
    const json result = runJson({"configure", "--scan", "relaxed"});
    EXPECT_EQ(result["after"]["modelChoice"], "haiku");
    EXPECT_EQ(pellixEntry()["heartbeatIntervalMinutes"], 60);
    EXPECT_EQ(pellixEntry()["model"], "anthropic/claude-haiku-3-5-20241022");
}

TEST_F(ConfigureCommand, NothingToChangeWritesNothingAndRestartsNothing) {
    install();
    struct stat before {};
    ASSERT_EQ(::stat(sandbox.configFile().c_str(), &before), 0);
    const std::size_t restarts = count(sandbox.calls(), "gateway restart");
    EXPECT_EQ(run({"configure", "--scan", "standard"}), 0);
    EXPECT_EQ(out.str(), "Nothing to change: scan standard, model sonnet are in effect.\n");
    struct stat after {};
    ASSERT_EQ(::stat(sandbox.configFile().c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    EXPECT_EQ(count(sandbox.calls(), "gateway restart"), restarts);
    EXPECT_EQ(runJson({"configure"})["changed"], false);
}

TEST_F(ConfigureCommand, NotInstalledExitsThreeAndPointsToInstall) {
    const json result = runJson({"configure", "--scan", "daily"});
    EXPECT_EQ(exitStatus, 3);
    EXPECT_EQ(result["changed"], false);
    EXPECT_NE(err.str().find("run pellix-installer install first"), std::string::npos);
}

TEST_F(ConfigureCommand, AnUnreadableFileIsLeftAsItWasAndExitsOne) {
    install();
    test::writeFile(sandbox.configFile(), "{ not json");
    EXPECT_EQ(run({"configure", "--scan", "daily"}), 1);
    EXPECT_EQ(err.str(), "Cannot read openclaw.json\n");
    EXPECT_EQ(test::readFile(sandbox.configFile()), "{ not json");
}

TEST(ChoiceEdit, TheHostsFormKeepsItsKeysAndTypes) {
    auto document = ConfigDocument::parse(R"({"agents": {"entries": {"pellix": {"name": "pellix",
        "model": {"primary": "anthropic/claude-sonnet-4-20250514"},
        "heartbeat": {"every": "15m", "model": "anthropic/claude-sonnet-4-20250514"}}}}})");
    ASSERT_TRUE(document);
    EXPECT_TRUE(setPellixChoices(*document, Choices{"daily", "opus"}));
    const json entry = json::parse(document->serialize().value())["agents"]["entries"]["pellix"];
    EXPECT_EQ(entry["heartbeat"]["every"], "1440m");
    EXPECT_EQ(entry["heartbeat"]["model"], "anthropic/claude-opus-4-6");
    EXPECT_EQ(entry["model"]["primary"], "anthropic/claude-opus-4-6");
    EXPECT_FALSE(entry.contains("heartbeatIntervalMinutes"));
    EXPECT_FALSE(setPellixChoices(*document, Choices{"daily", "opus"}));
}

TEST(ChoiceEdit, AnEntryFoundByIdIsChangedAndNoEntryIsNoChange) {
    auto listed = ConfigDocument::parse(
        R"({"agents": {"list": [{"id": "pellix", "model": "m", "heartbeatIntervalMinutes": 15.0}]}})");
    ASSERT_TRUE(listed);
    EXPECT_TRUE(setPellixChoices(*listed, Choices{}));
    const json entry = json::parse(listed->serialize().value())["agents"]["list"][0];
    EXPECT_EQ(entry["heartbeatIntervalMinutes"], 15);
    auto none = ConfigDocument::parse(R"({"agents": {"list": [{"id": "main"}]}})");
    EXPECT_FALSE(setPellixChoices(*none, Choices{}));
}

}  // namespace
}  // namespace pellix
