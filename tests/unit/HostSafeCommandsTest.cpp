// The commands where the host has a say: the install names the form the entry was written in,
// fails its registration row with the host's reason where it rejects every form, says why the
// gateway did not restart where the host refuses its config; status carries the host's reason
// and the form in use. The rows keep their texts throughout.

#include <gtest/gtest.h>

#include "InProcessCommands.h"
#include "TestSupport.h"

namespace pellix {
namespace {

using nlohmann::json;

class HostSafeCommands : public test::InProcessCommands {
protected:
    // A host like OpenClaw 2026.9.6: it keeps agents keyed by id and rejects a list of them.
    void becomeAKeyedHost() {
        test::writeFile(sandbox.configFile(), R"({"agents":{"ownership":"explicit",)"
                                              R"("entries":{"main":{"name":"main"}}}})");
        test::writeFile(bin() + "/validate-rejects", "\"list\"\nUnrecognized key: \"list\"\n");
        test::writeFile(bin() + "/schema", test::readFile(std::string(PELLIX_TEST_DATA_DIR) +
                                                          "/schemas/keyed-entries.json"));
        test::writeFile(bin() + "/version", "OpenClaw 2026.9.6 (eb377ac)\n");
    }
    std::string bin() const { return sandbox.fakeBin(); }
};

TEST_F(HostSafeCommands, InstallOnAKeyedHostNamesTheFormAndKeepsTheRows) {
    becomeAKeyedHost();
    EXPECT_EQ(run({"install"}), 0) << err.str();
    const std::string text = out.str();
    EXPECT_NE(text.find("  ✓ Registering Pellix in openclaw.json — Registered with sonnet model, "
                        "15m scan\n"),
              std::string::npos)
        << text;
    EXPECT_NE(text.find("  ✓ Adding Pellix to spawn allowlist — Added to main agent's spawn "
                        "allowlist\n"),
              std::string::npos);
    EXPECT_NE(text.find("OpenClaw 2026.9.6: registered in agents.entries\n"), std::string::npos);
    const json config = json::parse(test::readFile(sandbox.configFile()));
    EXPECT_EQ(config["agents"]["entries"]["pellix"]["name"], "pellix");
    EXPECT_FALSE(config["agents"].contains("list"));
}

TEST_F(HostSafeCommands, InstallJsonNamesTheFormAndTheHostsVerdict) {
    becomeAKeyedHost();
    const json summary = runJson({"install"});
    EXPECT_EQ(exitStatus, 0);
    EXPECT_EQ(summary["registration"], (json{{"form", "agents.entries"},
                                             {"host", "OpenClaw 2026.9.6"},
                                             {"verdict", "valid"},
                                             {"reason", ""}}));
    EXPECT_EQ(summary["allowlistRefused"], nullptr);
    EXPECT_EQ(summary["gatewayConfigRefused"], nullptr);
}

TEST_F(HostSafeCommands, AHostThatRejectsEveryFormStopsTheInstallWithItsReason) {
    test::writeFile(bin() + "/validate-rejects", "pellix\nUnrecognized key: \"pellix\"\n");
    const std::string before = test::readFile(sandbox.configFile());
    const json summary = runJson({"install"});
    EXPECT_EQ(exitStatus, 1);
    EXPECT_EQ(summary["phase"], "error");
    EXPECT_EQ(summary["steps"][4]["status"], "failed");
    EXPECT_EQ(summary["steps"][4]["detail"],
              "OpenClaw rejects the Pellix entry: agents: Unrecognized key: \"pellix\"");
    EXPECT_EQ(summary["errorMessage"], summary["steps"][4]["detail"]);
    EXPECT_EQ(test::readFile(sandbox.configFile()), before);
}

TEST_F(HostSafeCommands, AGatewayThatRefusesItsConfigIsNamedWithRestoreConfig) {
    test::writeFile(bin() + "/gateway-refuses",
                    "OpenClaw config is invalid\nFile: ~/.openclaw/openclaw.json\nProblem:\n"
                    "  - agents.list.1.id: Invalid input\n");
    EXPECT_EQ(run({"install"}), 0);
    EXPECT_NE(out.str().find("  ! Restarting OpenClaw gateway — Restart may need manual run\n"),
              std::string::npos);
    EXPECT_NE(out.str().find("OpenClaw did not restart: OpenClaw config is invalid: "
                             "agents.list.1.id: Invalid input. To put openclaw.json back as it "
                             "was before the install, run: pellix-installer restore-config\n"),
              std::string::npos)
        << out.str();
    const json summary = runJson({"install"});
    EXPECT_EQ(summary["gatewayConfigRefused"],
              "OpenClaw config is invalid: agents.list.1.id: Invalid input");
}

TEST_F(HostSafeCommands, StatusCarriesTheHostsReasonAndTheFormInUse) {
    becomeAKeyedHost();
    install();
    json status = runJson({"status"});
    EXPECT_EQ(status["config"]["form"], "agents.entries");
    EXPECT_EQ(status["config"]["heartbeatIntervalMinutes"], 15);
    EXPECT_EQ(status["configValidation"]["verdict"], "valid");

    test::writeFile(bin() + "/validate-rejects", "pellix\nUnrecognized key: \"pellix\"\n");
    status = runJson({"status"});
    EXPECT_EQ(exitStatus, 1);
    EXPECT_EQ(status["configValidation"]["verdict"], "invalid");
    EXPECT_EQ(status["configValidation"]["detail"], "agents: Unrecognized key: \"pellix\"");
    EXPECT_EQ(run({"status"}), 1);
    EXPECT_NE(out.str().find("  openclaw.json:  registered in agents.entries (model "
                             "anthropic/claude-sonnet-4-20250514, every 15 min); in the main "
                             "agent's allowAgents\n"),
              std::string::npos)
        << out.str();
    EXPECT_NE(out.str().find("  Config check:   invalid: agents: Unrecognized key: \"pellix\"\n"),
              std::string::npos);
}

TEST_F(HostSafeCommands, UninstallOfTheKeyedEntryPutsTheFileBack) {
    becomeAKeyedHost();
    const std::string before = test::readFile(sandbox.configFile());
    install();
    EXPECT_EQ(run({"uninstall"}), 0) << err.str();
    EXPECT_EQ(test::readFile(sandbox.configFile()), before);
}

}  // namespace
}  // namespace pellix
