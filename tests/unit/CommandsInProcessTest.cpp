// The four commands driven in this process over a sandboxed home with the fake launchctl and
// openclaw: what each prints, where, and with which exit status.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <nlohmann/json.hpp>
#include <sstream>

#include "Cli.h"
#include "InProcessCommands.h"
#include "TestSupport.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace pellix {
namespace {

using CommandsInProcess = test::InProcessCommands;

TEST_F(CommandsInProcess, StatusOfAHomeWithoutTheAgentExitsThree) {
    EXPECT_EQ(run({"status"}), 3);
    EXPECT_EQ(out.str(), "Pellix is not installed in " + sandbox.openclawHome() + ".\n");
    EXPECT_EQ(err.str(), "");
}

TEST_F(CommandsInProcess, StatusWithoutOpenClawAtAllExitsThree) {
    fs::remove_all(sandbox.openclawHome());
    const json status = runJson({"status"});
    EXPECT_EQ(exitStatus, 3);
    EXPECT_EQ(status["installed"], false);
    EXPECT_EQ(status["config"]["readable"], false);
}

TEST_F(CommandsInProcess, UninstallOfAHomeWithoutTheAgentChangesNothing) {
    const std::string before = test::readFile(sandbox.configFile());
    const auto mtime = fs::last_write_time(sandbox.configFile());
    EXPECT_EQ(run({"uninstall"}), 0);
    EXPECT_EQ(out.str(),
              "Pellix is not installed in " + sandbox.openclawHome() + "; nothing to do.\n");
    EXPECT_EQ(test::readFile(sandbox.configFile()), before);
    EXPECT_EQ(fs::last_write_time(sandbox.configFile()), mtime);
    EXPECT_EQ(sandbox.calls().find("gateway restart"), std::string::npos);
    EXPECT_EQ(sandbox.calls().find("bootout"), std::string::npos);
}

TEST_F(CommandsInProcess, InstallStatusUninstallStatus) {
    install();
    EXPECT_EQ(run({"status"}), 0) << out.str();
    EXPECT_TRUE(out.str().ends_with("Healthy.\n"));

    const json result = runJson({"uninstall"});
    EXPECT_EQ(exitStatus, 0) << err.str();
    EXPECT_EQ(result["uninstalled"], true);
    EXPECT_EQ(result["wasInstalled"], true);
    ASSERT_EQ(result["jobs"].size(), 4u);
    for (const auto& job : result["jobs"]) EXPECT_EQ(job["removed"], true) << job["label"];
    EXPECT_EQ(result["agentFiles"],
              json::array({{{"path", sandbox.pellixDir()}, {"removed", true}, {"detail", ""}}}));
    EXPECT_TRUE(result["config"]["outcome"] == "removed" ||
                result["config"]["outcome"] == "restoredBackup")
        << result["config"];
    EXPECT_EQ(result["gatewayRestart"]["status"], 0);
    EXPECT_EQ(result["gatewayRestart"]["output"], "Gateway restarted.\n");
    EXPECT_EQ(result["problems"], json::array());

    EXPECT_EQ(run({"status"}), 3);
}

TEST_F(CommandsInProcess, WithoutAMainAgentTheMissingAllowlistItemIsNoProblem) {
    test::writeFile(sandbox.configFile(), R"({"agents":{"list":[{"id":"coder"}]}})");
    install();
    const json status = runJson({"status"});
    EXPECT_EQ(exitStatus, 0) << status.dump(2);
    EXPECT_EQ(status["config"]["hasMainAgent"], false);
    EXPECT_EQ(status["config"]["allowlisted"], false);
    EXPECT_EQ(status["config"]["heartbeatIntervalMinutes"], 15);
    EXPECT_EQ(status["problems"], json::array());
}

TEST_F(CommandsInProcess, AMainAgentWithoutPellixInItsAllowlistIsAProblem) {
    install();
    test::writeFile(sandbox.configFile(),
                    R"({"agents":{"list":[{"id":"main"},{"name":"pellix","model":"m",)"
                    R"("heartbeatIntervalMinutes":18446744073709551616}]}})");
    const json status = runJson({"status"});
    EXPECT_EQ(exitStatus, 1);
    EXPECT_EQ(status["config"]["hasMainAgent"], true);
    EXPECT_EQ(status["problems"],
              json::array({"openclaw.json: \"pellix\" is not in the main agent's "
                           "subagents.allowAgents"}));
    const std::string text = out.str();
    EXPECT_NE(text.find("\"heartbeatIntervalMinutes\": 18446744073709551616,"), std::string::npos)
        << text;
}

TEST_F(CommandsInProcess, UninstallGivesTheGatewayRestartItsOwnLongerTimeLimit) {
    install();
    test::writeFile(sandbox.fakeBin() + "/sleep-openclaw", "1\n");
    Platform platform = sandbox.platform();
    platform.commandTimeLimit = std::chrono::milliseconds(300);
    platform.gatewayRestartTimeLimit = std::chrono::milliseconds(20000);
    out.str("");
    ASSERT_EQ(runCommandLine({"uninstall", "--json"}, platform, {out, err, false}), 0) << err.str();
    const json result = json::parse(out.str());
    EXPECT_EQ(result["gatewayRestart"]["status"], 0) << result["gatewayRestart"];
    EXPECT_EQ(result["gatewayRestart"]["output"], "Gateway restarted.\n");
}

TEST_F(CommandsInProcess, StatusNamesAnUnreadableConfig) {
    install();
    test::writeFile(sandbox.configFile(), "not json");
    const json status = runJson({"status"});
    EXPECT_EQ(exitStatus, 1);
    EXPECT_EQ(status["installed"], true);
    EXPECT_EQ(status["problems"],
              json::array({"openclaw.json: cannot be read as one JSON object (" +
                           sandbox.configFile() + ")"}));
}

TEST_F(CommandsInProcess, StatusNamesAServiceThatIsNotRunningAndAMissingSessionStore) {
    install();
    fs::remove_all(sandbox.openclawHome() + "/agents/pellix");
    ASSERT_EQ(std::system(("cd " + sandbox.fakeBin() +
                           " && ./launchctl bootout gui/0/ai.pellix.pellix-service")
                              .c_str()),
              0);
    const json status = runJson({"status"});
    EXPECT_EQ(exitStatus, 1);
    EXPECT_EQ(status["problems"], json::array({"ai.pellix.pellix-service: not loaded",
                                               "session store: " + sandbox.openclawHome() +
                                                   "/agents/pellix/sessions is missing"}));
}

TEST_F(CommandsInProcess, AFolderInPlaceOfTheConfigIsNamedAndLeftAlone) {
    install();
    fs::remove(sandbox.configFile());
    fs::create_directory(sandbox.configFile());
    EXPECT_EQ(runJson({"status"})["config"]["readable"], false);
    EXPECT_EQ(exitStatus, 1);
    EXPECT_EQ(run({"uninstall"}), 1);
    EXPECT_TRUE(fs::is_directory(sandbox.configFile()));
    EXPECT_FALSE(fs::exists(sandbox.pellixDir()));
}

TEST_F(CommandsInProcess, ANamedPipeInPlaceOfTheConfigNeverBlocksUninstall) {
    install();
    fs::remove(sandbox.configFile());
    ASSERT_EQ(::mkfifo(sandbox.configFile().c_str(), 0600), 0);
    EXPECT_EQ(run({"uninstall"}), 1);
    EXPECT_EQ(err.str(), "Not removed: openclaw.json: cannot be read as JSON; left as it was\n");
    EXPECT_TRUE(fs::is_fifo(sandbox.configFile()));
    EXPECT_EQ(sandbox.loadedJobs(), "");
}

TEST_F(CommandsInProcess, PurgeWithNothingElseInstalledDeletesTheSessionStore) {
    test::writeFile(sandbox.openclawHome() + "/agents/pellix/sessions/a.jsonl", "{}");
    EXPECT_EQ(run({"uninstall", "--purge"}), 0) << err.str();
    EXPECT_FALSE(fs::exists(sandbox.openclawHome() + "/agents/pellix"));
    EXPECT_NE(out.str().find("  ✓ session store " + sandbox.openclawHome() +
                             "/agents/pellix/sessions: deleted\n"),
              std::string::npos)
        << out.str();
}

TEST_F(CommandsInProcess, RestoreConfigWithoutABackupIsOneJsonObjectAndAReasonOnStandardError) {
    const json result = runJson({"restore-config"});
    EXPECT_EQ(exitStatus, 1);
    EXPECT_EQ(result["restored"], false);
    EXPECT_EQ(result["outcome"], "noBackup");
    EXPECT_EQ(result["backup"], nullptr);
    EXPECT_EQ(err.str(), "No backup of " + sandbox.configFile() +
                             " to restore: the installer has not changed it. Nothing was "
                             "touched.\n");
}

TEST_F(CommandsInProcess, UninstallPrintsOneLinePerPart) {
    install();
    EXPECT_EQ(run({"uninstall"}), 0) << err.str();
    const std::string home = sandbox.openclawHome();
    EXPECT_EQ(out.str(), "Removing Pellix from " + home +
                             "\n"
                             "  ✓ ai.pellix.pellix-service: stopped and removed\n"
                             "  ✓ ai.pellix.pellix.wal: stopped and removed\n"
                             "  ✓ ai.pellix.pellix.tripwire-grep: stopped and removed\n"
                             "  ✓ ai.pellix.pellix.tripwire-ai: stopped and removed\n"
                             "  ✓ agent files " +
                             sandbox.pellixDir() +
                             ": removed\n"
                             "  ✓ receipt " +
                             home +
                             "/.pellix-installer/receipt.json: removed\n"
                             "  ✓ openclaw.json: put back as it was before the install (the "
                             "backup's bytes)\n"
                             "  ✓ session store " +
                             home +
                             "/agents/pellix/sessions: kept (--purge deletes it)\n"
                             "  ✓ OpenClaw gateway restarted\n"
                             "Pellix is uninstalled.\n");
    EXPECT_EQ(err.str(), "");
}

TEST_F(CommandsInProcess, RestoreConfigSaysWhereTheBackupCameFromAndWhereTheOldFileIs) {
    const std::string original = test::readFile(sandbox.configFile());
    install();
    const std::string installed = test::readFile(sandbox.configFile());
    EXPECT_EQ(run({"restore-config"}), 0) << err.str();
    EXPECT_EQ(test::readFile(sandbox.configFile()), original);
    const std::string text = out.str();
    const std::string backup = sandbox.openclawHome() + "/.pellix-installer/openclaw.json.backup";
    EXPECT_TRUE(text.starts_with("Restored " + sandbox.configFile() + " from the backup taken "))
        << text;
    EXPECT_NE(text.find(" (" + backup + ").\nThe file it replaced is kept at " +
                        sandbox.configFile() + ".before-restore-"),
              std::string::npos)
        << text;
    const std::string aside = text.substr(text.find("kept at ") + 8);
    EXPECT_EQ(test::readFile(aside.substr(0, aside.size() - 2)), installed);
}

TEST_F(CommandsInProcess, InstallJsonKeepsItsShape) {
    EXPECT_EQ(run({"install", "--json"}), 0);
    const auto summary = nlohmann::ordered_json::parse(out.str());
    std::vector<std::string> keys;
    for (const auto& item : summary.items()) keys.push_back(item.key());
    EXPECT_EQ(keys, std::vector<std::string>({"phase", "progress", "errorMessage", "scanPreset",
                                              "modelChoice", "changed", "steps", "registration",
                                              "allowlistRefused", "gatewayConfigRefused",
                                              "keptBeside", "choicesKept"}));
    EXPECT_EQ(summary["steps"].size(), 11u);
    EXPECT_TRUE(out.str().starts_with("{\n  \"phase\": \"complete\",\n  \"progress\": 1.0,\n"));
}

TEST_F(CommandsInProcess, HelpAndVersionGoToStandardOutput) {
    EXPECT_EQ(run({"status", "--help"}), 0);
    EXPECT_TRUE(out.str().starts_with("Usage: pellix-installer status [--json]\n"));
    EXPECT_EQ(run({"--version"}), 0);
    EXPECT_TRUE(out.str().starts_with("pellix-installer "));
    EXPECT_EQ(run({"uninstall", "--nope"}), 2);
    EXPECT_EQ(out.str(), "");
    EXPECT_TRUE(err.str().starts_with("pellix-installer uninstall: unknown option '--nope'\n"));
}

}  // namespace
}  // namespace pellix
