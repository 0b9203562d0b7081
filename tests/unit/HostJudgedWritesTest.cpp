// Every write of openclaw.json is judged by the host's own validator first, where it has one:
// bytes it rejects while it accepts the file as it is are never written; the registration then
// tries the host's own form from its schema, and fails with the host's reason where that is
// rejected too. The fake openclaw's validator rejects files holding a chosen text.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "FileChecks.h"
#include "InstallSandbox.h"
#include "OpenClawCommands.h"
#include "TestSupport.h"
#include "config/OpenClawConfig.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace pellix {
namespace {

class HostJudgedWrites : public ::testing::Test {
protected:
    // The fake host rejects any file that holds `text`, saying `reason`.
    void rejectFilesHolding(const std::string& text, const std::string& reason) {
        test::writeFile(sandbox.fakeBin() + "/validate-rejects", text + "\n" + reason + "\n");
    }
    void giveTheHostItsSchema(const std::string& schema) {
        test::writeFile(sandbox.fakeBin() + "/schema",
                        test::readFile(std::string(PELLIX_TEST_DATA_DIR) + "/schemas/" + schema));
        test::writeFile(sandbox.fakeBin() + "/version", "OpenClaw 2026.9.6 (eb377ac)\n");
    }
    StepResult registerAgent() {
        return steps::registerPellixAgent(setup.context(), sandbox.configFile()).runToCompletion();
    }
    StepResult allowlist() {
        return steps::addToAllowlist(setup.context(), sandbox.configFile()).runToCompletion();
    }
    json config() const { return json::parse(test::readFile(sandbox.configFile())); }
    std::vector<std::string> homeNames() const { return test::namesIn(sandbox.openclawHome()); }

    test::Sandbox sandbox;
    test::WorkerSetup setup{sandbox.platform()};
    const std::string original = test::readFile(sandbox.configFile());
};

TEST_F(HostJudgedWrites, ARejectedEntryWithoutAHostFormFailsTheRowAndWritesNothing) {
    rejectFilesHolding("agentsDir", "Unrecognized key: \"agentsDir\"");
    EXPECT_EQ(registerAgent(),
              (StepResult{StepStatus::failed,
                          "OpenClaw rejects the Pellix entry: agents: Unrecognized key: "
                          "\"agentsDir\""}));
    EXPECT_EQ(test::readFile(sandbox.configFile()), original);
    // No backup, no record, no temporary file: nothing was written.
    EXPECT_EQ(homeNames(), (std::vector<std::string>{"openclaw.json", "workspace-main"}));
    ASSERT_TRUE(setup.record.registration);
    EXPECT_EQ(setup.record.registration->verdict.kind, HostVerdict::Kind::rejected);
}

TEST_F(HostJudgedWrites, TheHostsOwnFormIsWrittenWhereItRejectsTheInstallersOwn) {
    rejectFilesHolding("agentsDir", "Unrecognized key: \"list\"");
    giveTheHostItsSchema("keyed-entries.json");
    test::writeFile(sandbox.configFile(),
                    R"({"agents":{"ownership":"explicit","entries":{"main":{"name":"main"}}}})");
    EXPECT_EQ(registerAgent(),
              (StepResult{StepStatus::success, "Registered with sonnet model, 15m scan"}));
    const json written = config();
    EXPECT_FALSE(written["agents"].contains("list"));
    EXPECT_EQ(written["agents"]["entries"]["pellix"]["heartbeat"]["every"], "15m");
    ASSERT_TRUE(setup.record.registration);
    EXPECT_EQ(setup.record.registration->form, "agents.entries");
    EXPECT_EQ(setup.record.registration->host, "OpenClaw 2026.9.6");
    EXPECT_EQ(setup.record.registration->verdict.kind, HostVerdict::Kind::accepted);

    EXPECT_EQ(allowlist(),
              (StepResult{StepStatus::success, "Added to main agent's spawn allowlist"}));
    EXPECT_EQ(config()["agents"]["entries"]["main"]["subagents"]["allowAgents"],
              json::array({"pellix"}));
    EXPECT_TRUE(fs::exists(sandbox.openclawHome() + "/.pellix-installer/openclaw.json.backup"));
}

TEST_F(HostJudgedWrites, AHostThatRejectsEveryFormFailsTheRowWithItsReason) {
    rejectFilesHolding("\"pellix\"", "Unrecognized key: \"pellix\"");
    giveTheHostItsSchema("listed-with-id.json");
    EXPECT_EQ(registerAgent(),
              (StepResult{StepStatus::failed,
                          "OpenClaw rejects the Pellix entry: agents: Unrecognized key: "
                          "\"pellix\""}));
    EXPECT_EQ(test::readFile(sandbox.configFile()), original);
}

TEST_F(HostJudgedWrites, AFileTheHostRejectsAlreadyIsEditedAsAlways) {
    test::writeFile(sandbox.fakeBin() + "/validate-fails", "gateway.port: Invalid input\n");
    EXPECT_EQ(registerAgent(),
              (StepResult{StepStatus::success, "Registered with sonnet model, 15m scan"}));
    EXPECT_EQ(config()["agents"]["list"][1]["name"], "pellix");
}

TEST_F(HostJudgedWrites, AnAllowlistChangeTheHostRejectsIsAWarningAndNotWritten) {
    rejectFilesHolding("allowAgents", "subagents: Unrecognized key: \"allowAgents\"");
    ASSERT_EQ(registerAgent().status, StepStatus::success);
    const std::string registered = test::readFile(sandbox.configFile());
    EXPECT_EQ(allowlist(), (StepResult{StepStatus::warning, "Failed to save allowlist change"}));
    EXPECT_EQ(test::readFile(sandbox.configFile()), registered);
    ASSERT_TRUE(setup.record.allowlistRefused);
    EXPECT_EQ(setup.record.allowlistRefused->reason,
              "agents: subagents: Unrecognized key: \"allowAgents\"");
}

TEST_F(HostJudgedWrites, ARemovalTheHostRejectsLeavesTheFileAndSaysWhy) {
    // Written by hand, not by the installer: the removal takes the parts out, which here leaves
    // an empty allowlist that this host refuses.
    test::writeFile(sandbox.configFile(),
                    R"({"agents":{"list":[{"id":"main","subagents":{"allowAgents":["pellix"]}},)"
                    R"({"name":"pellix"}]}})");
    const std::string before = test::readFile(sandbox.configFile());
    rejectFilesHolding("\"allowAgents\": []", "subagents.allowAgents: Too small");
    const ConfigRemovalOutcome removal =
        removePellixFromConfig(sandbox.configFile(), openclawValidator(setup.host()));
    EXPECT_EQ(removal.outcome, ConfigRemoval::rejected);
    EXPECT_EQ(removal.verdict.reason, "agents: subagents.allowAgents: Too small");
    EXPECT_EQ(test::readFile(sandbox.configFile()), before);
}

TEST_F(HostJudgedWrites, ABackupTheHostNowRejectsGivesWayToTheTargetedRemoval) {
    // The host accepts the installer's pretty-printed file and rejects the original's compact
    // bytes: put back, they would break it.
    test::writeFile(sandbox.configFile(), R"({"agents":{"list":[{"id":"main"}]}})");
    ASSERT_EQ(registerAgent().status, StepStatus::success);
    ASSERT_EQ(allowlist().status, StepStatus::success);
    rejectFilesHolding("{\"agents\":{", "agents: written as this host no longer reads");
    const ConfigRemovalOutcome removal =
        removePellixFromConfig(sandbox.configFile(), openclawValidator(setup.host()));
    EXPECT_EQ(removal.outcome, ConfigRemoval::removed);
    EXPECT_EQ(
        config(),
        (json{{"agents",
               {{"list", {{{"id", "main"}, {"subagents", {{"allowAgents", json::array()}}}}}}}}}));
}

TEST_F(HostJudgedWrites, AHostWithoutAValidatorIsAskedOnce) {
    EXPECT_EQ(registerAgent().status, StepStatus::success);
    EXPECT_EQ(allowlist().status, StepStatus::success);
    const std::string calls = sandbox.calls();
    EXPECT_EQ(calls, "openclaw config validate --json\n");
    EXPECT_EQ(setup.record.registration->verdict.kind, HostVerdict::Kind::notChecked);
    EXPECT_EQ(setup.record.registration->host, "");
}

// What the two OpenClaw releases answer, as they print it.
TEST(HostVerdicts, FromTheValidatorsJsonAnswers) {
    const auto judged = [](std::int32_t status, const std::string& output) {
        const HostVerdict verdict = judgeValidation({status, output});
        return std::string(toString(verdict.kind)) + "|" + verdict.reason;
    };
    EXPECT_EQ(judged(0, R"({"valid":true,"path":"/h/.openclaw/openclaw.json","warnings":[]})"),
              "valid|");
    EXPECT_EQ(judged(1,
                     "{\n  \"ok\": false,\n  \"error\": {\n    \"type\": \"cli_error\",\n"
                     "    \"message\": \"OpenClaw config is invalid: /h/c.json\"\n  },\n"
                     "  \"valid\": false,\n  \"path\": \"/h/c.json\",\n  \"issues\": [\n"
                     "    {\n      \"path\": \"agents\",\n      \"message\": \"Unrecognized "
                     "key: \\\"list\\\"\"\n    }\n  ]\n}\n"),
              "invalid|agents: Unrecognized key: \"list\"");
    EXPECT_EQ(judged(1,
                     "(node:1) ExperimentalWarning: x\n{\"valid\": false, \"path\": \"/c\", "
                     "\"issues\": [{\"path\": \"<root>\", \"message\": \"Invalid input\"}]}\n"),
              "invalid|Invalid input");
    EXPECT_EQ(judged(1, R"({"valid":false,"path":"/c","error":"file not found"})"),
              "invalid|file not found");
}

TEST(HostVerdicts, FromTheValidatorsText) {
    const auto judged = [](std::int32_t status, const std::string& output) {
        const HostVerdict verdict = judgeValidation({status, output});
        return std::string(toString(verdict.kind)) + "|" + verdict.reason;
    };
    EXPECT_EQ(judged(1,
                     "OpenClaw config is invalid: /h/c.json\n"
                     "  \xC3\x97 c.json:2 \xE2\x80\x94 agents: Unrecognized key: \"list\"\n\n"
                     "Run `openclaw doctor --fix` to repair.\n"),
              "invalid|agents: Unrecognized key: \"list\"");
    EXPECT_EQ(judged(1,
                     "OpenClaw config is invalid: /h/c.json\n"
                     "  \xC3\x97 agents.list.2.id: Invalid input\n"
                     "  \xC3\x97 agents.list.2.tools: Invalid input\n"),
              "invalid|agents.list.2.id: Invalid input");
    EXPECT_EQ(judged(0, "Config valid: /h/c.json\n1 warning(s):\n  ! a: b\n"), "valid|");
}

TEST(HostVerdicts, AGatewayRestartRefusedForItsConfigSaysWhy) {
    EXPECT_EQ(configRefusedLine({78,
                                 "OpenClaw config is invalid\nFile: ~/.openclaw/openclaw.json\n"
                                 "Problem:\n  - openclaw.json:2 \xE2\x80\x94 agents: "
                                 "Unrecognized key: \"list\"\nLegacy config keys detected:\n"}),
              "OpenClaw config is invalid: agents: Unrecognized key: \"list\"");
    EXPECT_EQ(configRefusedLine({1,
                                 "OpenClaw config is invalid\nFile: ~/.openclaw/openclaw.json\n"
                                 "Problem:\n  - agents.list.2.id: Invalid input\n"
                                 "Gateway aborted: config is invalid.\n"}),
              "OpenClaw config is invalid: agents.list.2.id: Invalid input");
    EXPECT_EQ(configRefusedLine({1, "Gateway service disabled.\nTip: openclaw gateway install\n"}),
              std::nullopt);
    EXPECT_EQ(configRefusedLine({78, "refused\n"}), "refused");
}

}  // namespace
}  // namespace pellix
