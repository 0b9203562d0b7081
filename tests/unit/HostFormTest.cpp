// The host's own form of the Pellix entry, read from the host's schema: where it keeps agents
// (keyed "entries", or a "list" whose items carry an "id"), which parts it knows and in which
// type; the edit that writes the entry in that form; and the inverse edits and the inspection,
// which find the entry in either form.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "ConfigOracle.h"
#include "TestSupport.h"
#include "config/AgentList.h"
#include "config/ConfigEdits.h"
#include "config/HostForm.h"
#include "config/OpenClawConfig.h"

namespace pellix {
namespace {

using nlohmann::json;

HostAgentForm formFrom(const std::string& schema) {
    const auto form =
        readHostAgentForm(test::readFile(std::string(PELLIX_TEST_DATA_DIR) + "/schemas/" + schema));
    if (!form) throw std::runtime_error("no form in " + schema);
    return *form;
}

// The document the product writes after `edit`, read back as a value.
json editedBy(const json& document, const std::function<bool(ConfigDocument&)>& edit) {
    json edited = document;
    test::editedByProduct(edited, edit);
    return edited;
}

json registeredIn(const json& document, const HostAgentForm& form, Choices choices = {}) {
    return editedBy(document, [&](ConfigDocument& parsed) {
        return registerAgentInHostForm(parsed, choices, form) == Registration::added;
    });
}

const json kSonnet = "anthropic/claude-sonnet-4-20250514";

TEST(HostForm, KeyedEntriesAreReadFromTheSchema) {
    const HostAgentForm form = formFrom("keyed-entries.json");
    EXPECT_EQ(form.container, HostAgentForm::Container::entries);
    EXPECT_EQ(form.containerName(), "agents.entries");
    EXPECT_TRUE(form.name && form.description && form.allowAgents);
    EXPECT_EQ(form.model, HostAgentForm::Model::text);
    EXPECT_EQ(form.interval, HostAgentForm::Interval::every);
    EXPECT_TRUE(form.heartbeatModel);
    EXPECT_EQ(form.tools, HostAgentForm::Tools::allow);
    EXPECT_FALSE(form.agentsDir);
    EXPECT_EQ(form.ownership, "explicit");
}

TEST(HostForm, ListWithRequiredIdIsReadFromTheSchema) {
    const HostAgentForm form = formFrom("listed-with-id.json");
    EXPECT_EQ(form.container, HostAgentForm::Container::list);
    EXPECT_EQ(form.containerName(), "agents.list");
    EXPECT_TRUE(form.idKey);
    EXPECT_EQ(form.interval, HostAgentForm::Interval::every);
    EXPECT_EQ(form.tools, HostAgentForm::Tools::allow);
    EXPECT_EQ(form.ownership, "");
}

TEST(HostForm, TheInstallersOwnSchemaGivesTheInstallersOwnEntry) {
    const HostAgentForm form = formFrom("described.json");
    const json written = registeredIn(json::object(), form);
    const json expected = editedBy(json::object(), [](ConfigDocument& parsed) {
        return registerAgent(parsed, Choices{}) == Registration::added;
    });
    EXPECT_EQ(written, expected);
}

TEST(HostForm, SchemaWithoutAgentsOrNotJsonGivesNoForm) {
    EXPECT_EQ(readHostAgentForm(R"({"type":"object","properties":{"gateway":{}}})"), std::nullopt);
    EXPECT_EQ(readHostAgentForm("OpenClaw 2026.9.6"), std::nullopt);
    EXPECT_EQ(readHostAgentForm(""), std::nullopt);
}

TEST(HostForm, KeyedEntryHasOnlyKeysTheSchemaKnowsInItsTypes) {
    const json home = {
        {"agents",
         {{"ownership", "explicit"},
          {"entries", {{"main", {{"name", "main"}}}, {"work", {{"name", "work"}}}}}}}};
    const json written =
        registeredIn(home, formFrom("keyed-entries.json"), Choices{"vigilant", "opus"});
    const json entry = written["agents"]["entries"]["pellix"];
    EXPECT_EQ(entry, (json{{"name", "pellix"},
                           {"description", "Behavioral drift detection & AI conscience"},
                           {"model", "anthropic/claude-opus-4-6"},
                           {"heartbeat", {{"every", "5m"}, {"model", "anthropic/claude-opus-4-6"}}},
                           {"tools", {{"allow", {"read", "web_fetch", "exec", "message"}}}}}));
    EXPECT_EQ(written["agents"]["entries"]["main"], home["agents"]["entries"]["main"]);
    EXPECT_FALSE(written["agents"].contains("list"));
}

TEST(HostForm, SecondKeyedAgentSaysHowTheRosterIsOwned) {
    const json home = {{"agents", {{"entries", {{"main", {{"name", "main"}}}}}}}};
    const json written = registeredIn(home, formFrom("keyed-entries.json"));
    EXPECT_EQ(written["agents"]["ownership"], "explicit");
    const json alone = registeredIn(json::object(), formFrom("keyed-entries.json"));
    EXPECT_FALSE(alone["agents"].contains("ownership"));
    EXPECT_TRUE(alone["agents"]["entries"].contains("pellix"));
}

TEST(HostForm, ListedEntryCarriesItsIdAndANewListKeepsMainFirst) {
    const HostAgentForm form = formFrom("listed-with-id.json");
    const json fresh = registeredIn(json{{"agents", {{"defaults", json::object()}}}}, form);
    ASSERT_EQ(fresh["agents"]["list"].size(), 2u);
    EXPECT_EQ(fresh["agents"]["list"][0], (json{{"id", "main"}}));
    EXPECT_EQ(fresh["agents"]["list"][1]["id"], "pellix");
    EXPECT_EQ(fresh["agents"]["list"][1]["heartbeat"],
              (json{{"every", "15m"}, {"model", kSonnet}}));

    const json home = {{"agents", {{"list", {{{"id", "main"}}, {{"id", "work"}}}}}}};
    const json listed = registeredIn(home, form, Choices{"daily", "haiku"});
    ASSERT_EQ(listed["agents"]["list"].size(), 3u);
    EXPECT_EQ(listed["agents"]["list"][2]["heartbeat"]["every"], "1440m");
}

TEST(HostForm, AnEntryInEitherFormCountsAsRegistered) {
    const json keyed = {{"agents", {{"entries", {{"pellix", {{"name", "pellix"}}}}}}}};
    const json listed = {{"agents", {{"list", {{{"name", "pellix"}}}}}}};
    for (const json& home : {keyed, listed}) {
        EXPECT_EQ(registeredIn(home, formFrom("keyed-entries.json")), home);
        EXPECT_EQ(registeredIn(home, formFrom("listed-with-id.json")), home);
        EXPECT_EQ(editedBy(home,
                           [](ConfigDocument& parsed) {
                               return registerAgent(parsed, Choices{}) == Registration::added;
                           }),
                  home);
    }
}

TEST(HostForm, AllowlistAndItsInverseReachTheKeyedMainAgent) {
    const json home = {{"agents", {{"entries", {{"main", {{"name", "main"}}}}}}}};
    const json allowed = editedBy(home, allowPellix);
    EXPECT_EQ(allowed["agents"]["entries"]["main"]["subagents"]["allowAgents"],
              json::array({"pellix"}));
    EXPECT_EQ(
        editedBy(allowed, disallowPellix)["agents"]["entries"]["main"]["subagents"]["allowAgents"],
        json::array());
}

TEST(HostForm, UnregisterTakesTheKeyedEntryOutAndLeavesTheRest) {
    const json home = {
        {"agents", {{"ownership", "explicit"}, {"entries", {{"main", {{"name", "main"}}}}}}}};
    const json registered = registeredIn(home, formFrom("keyed-entries.json"));
    const json taken = editedBy(registered, unregisterAgent);
    EXPECT_EQ(taken, home);
    EXPECT_EQ(editedBy(home, unregisterAgent), home);
}

TEST(HostForm, EveryFormsEditsHaveTheirInverses) {
    const json keyed = {{"agents",
                         {{"ownership", "explicit"},
                          {"entries", {{"main", {{"name", "main"}}}, {"work", json::object()}}}}},
                        {"gateway", {{"port", 18789}}}};
    const json listed = {{"agents", {{"list", {{{"id", "main"}}, {{"id", "work"}}}}}}};
    for (const auto& [home, schema] :
         {std::pair{keyed, "keyed-entries.json"}, std::pair{listed, "listed-with-id.json"}}) {
        SCOPED_TRACE(schema);
        const json installed = editedBy(registeredIn(home, formFrom(schema)), allowPellix);
        EXPECT_NE(installed, home);
        json back = editedBy(editedBy(installed, unregisterAgent), disallowPellix);
        // The emptied allowlist stays, as it does for the installer's own form.
        const json main = back["agents"].contains("entries") ? back["agents"]["entries"]["main"]
                                                             : back["agents"]["list"][0];
        EXPECT_EQ(main["subagents"]["allowAgents"], json::array());
    }
}

TEST(HostForm, InspectionReadsTheKeyedEntryAndItsDuration) {
    test::TempDir home;
    const std::string config = home / "openclaw.json";
    test::writeFile(config,
                    registeredIn(json{{"agents", {{"entries", {{"main", json::object()}}}}}},
                                 formFrom("keyed-entries.json"), Choices{"relaxed", "haiku"})
                        .dump());
    const PellixConfigState state = inspectPellixConfig(config);
    EXPECT_TRUE(state.registered);
    EXPECT_EQ(state.form, "agents.entries");
    EXPECT_EQ(state.model, "anthropic/claude-haiku-3-5-20241022");
    EXPECT_EQ(state.heartbeatMinutes, "60");
    EXPECT_TRUE(state.hasMainAgent);
}

TEST(HostForm, InspectionReadsAModelGivenAsPrimary) {
    test::TempDir home;
    const std::string config = home / "openclaw.json";
    test::writeFile(config, R"({"agents":{"list":[{"id":"pellix","model":{"primary":"m"},)"
                            R"("heartbeat":{"every":"2h"}}]}})");
    const PellixConfigState state = inspectPellixConfig(config);
    EXPECT_EQ(state.form, "agents.list");
    EXPECT_EQ(state.model, "m");
    EXPECT_EQ(state.heartbeatMinutes, "120");
}

TEST(HostForm, DurationsInMinutes) {
    EXPECT_EQ(durationMinutes("15m"), 15);
    EXPECT_EQ(durationMinutes("1h"), 60);
    EXPECT_EQ(durationMinutes("900s"), 15);
    EXPECT_EQ(durationMinutes("60000ms"), 1);
    EXPECT_EQ(durationMinutes("90s"), std::nullopt);
    EXPECT_EQ(durationMinutes("15 minutes"), std::nullopt);
    EXPECT_EQ(durationMinutes("PT15M"), std::nullopt);
    EXPECT_EQ(durationMinutes(""), std::nullopt);
}

}  // namespace
}  // namespace pellix
