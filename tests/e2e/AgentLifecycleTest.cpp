// Install, look, undo and revert through the built binary, in a temporary HOME with the fake
// launchctl and openclaw: every command and every exit status a script can meet.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

#include "HeadlessRun.h"
#include "TestSupport.h"
#include "files/HomeLock.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace pellix {
namespace {

constexpr const char* kOriginalConfig =
    "{\n  \"gateway\": {\"bind\": \"loopback\"},\n"
    "  \"agents\": {\"list\": [{\"id\": \"main\", \"model\": \"x\", \"subagents\": "
    "{\"allowAgents\": [\"helper\"], \"maxDepth\": 2}}, {\"id\": \"helper\"}]},\n"
    "  \"port\": 18789\n}\n";

constexpr const char* kJobs[] = {"ai.pellix.pellix-service", "ai.pellix.pellix.wal",
                                 "ai.pellix.pellix.tripwire-grep", "ai.pellix.pellix.tripwire-ai"};

class AgentLifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        test::makeDirs(openclawHome() + "/workspace-main/agents");
        test::writeFile(configFile(), kOriginalConfig);
        fs::permissions(configFile(), fs::perms::owner_read | fs::perms::owner_write);
        fakeBin = test::installFakeCommands(root / "fakebin");
        test::leadChildPathWith(home(), fakeBin);
        copy.emplace(root / "app");
    }

    std::string home() const { return root / "home"; }
    std::string openclawHome() const { return home() + "/.openclaw"; }
    std::string configFile() const { return openclawHome() + "/openclaw.json"; }
    std::string pellixDir() const {
        return openclawHome() + "/workspace-main/agents/pellix-unified";
    }
    std::string plist(const std::string& label) const {
        return home() + "/Library/LaunchAgents/" + label + ".plist";
    }
    std::string loadedJobs() const { return test::readFile(fakeBin + "/loaded"); }
    std::string calls() const { return test::readFile(fakeBin + "/calls.log"); }

    test::ProcessOutcome run(const std::vector<std::string>& arguments) {
        return test::runInstaller(copy->executable(), arguments, home(), std::nullopt);
    }
    json runJson(std::vector<std::string> arguments) {
        arguments.push_back("--json");
        last = run(arguments);
        // Throws, failing the test, unless standard output holds nothing but one JSON object.
        return json::parse(last.out);
    }
    void install() {
        const auto outcome = run({"install"});
        ASSERT_EQ(outcome.exitStatus, 0) << outcome.out << outcome.err;
    }
    void expectNothingOfTheAgentLeft() {
        for (const char* job : kJobs) {
            EXPECT_FALSE(fs::exists(plist(job))) << job;
            EXPECT_EQ(loadedJobs().find(job), std::string::npos) << job;
        }
        EXPECT_FALSE(fs::exists(fs::symlink_status(pellixDir())));
        EXPECT_EQ(json::parse(test::readFile(configFile())), json::parse(kOriginalConfig));
    }

    test::TempDir root;
    std::string fakeBin;
    std::optional<test::InstalledCopy> copy;
    test::ProcessOutcome last{};
};

TEST_F(AgentLifecycle, StatusOfAFreshInstallIsHealthy) {
    install();
    const auto outcome = run({"status"});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.out;
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(outcome.out.starts_with("Pellix in " + openclawHome() + "\n  Agent files:    " +
                                        pellixDir() + " (7 of 7 required files present)\n"));
    EXPECT_NE(outcome.out.find("  openclaw.json:  registered in agents.list (model "
                               "anthropic/claude-sonnet-4-20250514, every 15 min); in the main "
                               "agent's allowAgents\n"),
              std::string::npos);
    EXPECT_NE(outcome.out.find("    ai.pellix.pellix-service: loaded, running (pid 4242)\n"),
              std::string::npos);
    EXPECT_NE(outcome.out.find("  Config check:   not checked: error: unknown command 'config "
                               "validate'\n"),
              std::string::npos);
    EXPECT_TRUE(outcome.out.ends_with("Healthy.\n"));
}

TEST_F(AgentLifecycle, StatusJsonNamesEveryPart) {
    install();
    const json status = runJson({"status"});
    EXPECT_EQ(last.exitStatus, 0);
    EXPECT_EQ(last.err, "");
    EXPECT_EQ(status["installed"], true);
    EXPECT_EQ(status["healthy"], true);
    EXPECT_EQ(status["pellixDir"], pellixDir());
    EXPECT_EQ(status["missingFiles"], json::array());
    EXPECT_EQ(status["config"]["registered"], true);
    EXPECT_EQ(status["config"]["model"], "anthropic/claude-sonnet-4-20250514");
    EXPECT_EQ(status["config"]["heartbeatIntervalMinutes"], 15);
    EXPECT_EQ(status["config"]["allowlisted"], true);
    ASSERT_EQ(status["jobs"].size(), 4u);
    for (std::size_t i = 0; i < 4; ++i) {
        EXPECT_EQ(status["jobs"][i]["label"], kJobs[i]);
        EXPECT_EQ(status["jobs"][i]["fileInstalled"], true);
        EXPECT_EQ(status["jobs"][i]["loaded"], true);
    }
    EXPECT_EQ(status["jobs"][0]["running"], true);
    EXPECT_EQ(status["jobs"][0]["pid"], 4242);
    EXPECT_EQ(status["sessionStore"]["present"], true);
    EXPECT_EQ(status["configValidation"]["verdict"], "not checked");
    EXPECT_EQ(status["problems"], json::array());
}

TEST_F(AgentLifecycle, StatusShowsTheHostsVerdictOnTheConfig) {
    install();
    test::writeFile(fakeBin + "/validate-ok", "");
    EXPECT_EQ(runJson({"status"})["configValidation"]["verdict"], "valid");
    EXPECT_EQ(last.exitStatus, 0);

    fs::remove(fakeBin + "/validate-ok");
    test::writeFile(fakeBin + "/validate-fails",
                    "agents.list[2]: unknown key \"agentsDir\"\nmore\n");
    const json status = runJson({"status"});
    EXPECT_EQ(last.exitStatus, 1);
    EXPECT_EQ(status["configValidation"]["verdict"], "invalid");
    EXPECT_EQ(status["configValidation"]["detail"], "agents.list[2]: unknown key \"agentsDir\"");
    EXPECT_EQ(status["problems"],
              json::array({"openclaw config validate: agents.list[2]: unknown key \"agentsDir\""}));
}

TEST_F(AgentLifecycle, StatusNamesEachPartOfAHalfRemovedInstall) {
    install();
    fs::remove(pellixDir() + "/README.md");
    fs::remove(plist("ai.pellix.pellix.wal"));
    ASSERT_EQ(std::system(("cd " + fakeBin + " && ./launchctl unload " +
                           plist("ai.pellix.pellix.tripwire-ai") + " 2>/dev/null")
                              .c_str()),
              0);
    const auto outcome = run({"status"});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_TRUE(
        outcome.out.ends_with("3 problems:\n"
                              "  ✗ agent files: README.md is missing\n"
                              "  ✗ ai.pellix.pellix.wal: job file missing\n"
                              "  ✗ ai.pellix.pellix.tripwire-ai: not loaded\n"))
        << outcome.out;
}

TEST_F(AgentLifecycle, StatusColoursItsProblemMarksOnlyOnATerminal) {
    install();
    fs::remove(pellixDir() + "/SOUL.md");
    test::RunOptions terminal;
    terminal.onTerminal = true;
    const auto coloured =
        test::runInstaller(copy->executable(), {"status"}, home(), std::nullopt, terminal);
    EXPECT_EQ(coloured.exitStatus, 1);
    EXPECT_NE(coloured.out.find("  \033[31m✗\033[0m agent files: SOUL.md is missing"),
              std::string::npos)
        << coloured.out;
    terminal.environment = {"NO_COLOR=1"};
    const auto plain =
        test::runInstaller(copy->executable(), {"status"}, home(), std::nullopt, terminal);
    EXPECT_NE(plain.out.find("  ✗ agent files: SOUL.md is missing"), std::string::npos);
    EXPECT_EQ(plain.out.find('\033'), std::string::npos);
}

TEST_F(AgentLifecycle, UninstallLeavesNothingOfTheAgentAndEveryOtherSettingAsBefore) {
    install();
    const auto outcome = run({"uninstall"});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.out << outcome.err;
    EXPECT_EQ(outcome.err, "");
    EXPECT_TRUE(outcome.out.ends_with("Pellix is uninstalled.\n")) << outcome.out;
    expectNothingOfTheAgentLeft();
    // Untouched since the install wrote it, so the backup's bytes come back.
    EXPECT_EQ(test::readFile(configFile()), kOriginalConfig);
    EXPECT_TRUE(fs::is_directory(openclawHome() + "/agents/pellix/sessions"));
    EXPECT_TRUE(calls().ends_with("openclaw gateway restart\n"));
    EXPECT_EQ(fs::status(configFile()).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);

    const auto status = run({"status"});
    EXPECT_EQ(status.exitStatus, 3);
    EXPECT_EQ(status.out, "Pellix is not installed in " + openclawHome() + ".\n");
    EXPECT_EQ(runJson({"status"})["installed"], false);
    EXPECT_EQ(last.exitStatus, 3);
}

TEST_F(AgentLifecycle, AFailedGatewayRestartIsReportedButNotFatal) {
    install();
    test::writeFile(fakeBin + "/fail-openclaw", "");
    const auto outcome = run({"uninstall"});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_NE(outcome.out.find("  ! OpenClaw gateway restart failed (Gateway restart failed: "
                               "gateway did not come back); run 'openclaw gateway restart' "
                               "yourself\n"),
              std::string::npos)
        << outcome.out;
    expectNothingOfTheAgentLeft();
}

TEST_F(AgentLifecycle, SecondUninstallChangesNothing) {
    install();
    ASSERT_EQ(run({"uninstall"}).exitStatus, 0);
    struct stat before {};
    ASSERT_EQ(::stat(configFile().c_str(), &before), 0);
    const std::string callsBefore = calls();

    const json result = runJson({"uninstall"});
    EXPECT_EQ(last.exitStatus, 0);
    EXPECT_EQ(result["uninstalled"], true);
    EXPECT_EQ(result["wasInstalled"], false);
    EXPECT_EQ(result["gatewayRestart"], nullptr);
    struct stat after {};
    ASSERT_EQ(::stat(configFile().c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(after.st_mtim.tv_sec, before.st_mtim.tv_sec);
    EXPECT_EQ(after.st_mtim.tv_nsec, before.st_mtim.tv_nsec);
    const std::string callsNow = calls();
    ASSERT_TRUE(callsNow.starts_with(callsBefore));
    const std::string newCalls = callsNow.substr(callsBefore.size());
    for (const char* change : {"bootout", "unload", "gateway restart"}) {
        EXPECT_EQ(newCalls.find(change), std::string::npos) << "only questions, no " << change;
    }
}

TEST_F(AgentLifecycle, UninstallKeepsTheSessionStoreUnlessPurged) {
    install();
    test::writeFile(openclawHome() + "/agents/pellix/sessions/one.jsonl", "{}\n");
    ASSERT_EQ(run({"uninstall"}).exitStatus, 0);
    EXPECT_EQ(test::readFile(openclawHome() + "/agents/pellix/sessions/one.jsonl"), "{}\n");

    const auto outcome = run({"uninstall", "--purge"});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_FALSE(fs::exists(openclawHome() + "/agents/pellix"));
    EXPECT_TRUE(fs::is_directory(openclawHome() + "/workspace-main/agents"));
}

TEST_F(AgentLifecycle, UninstallLeavesAnUnreadableConfigAloneButRemovesJobsAndFiles) {
    install();
    test::writeFile(configFile(), "{\"agents\": [oops");
    const auto outcome = run({"uninstall"});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(test::readFile(configFile()), "{\"agents\": [oops");
    EXPECT_EQ(outcome.err, "Not removed: openclaw.json: cannot be read as JSON; left as it was\n");
    EXPECT_NE(outcome.out.find("  ✗ openclaw.json: cannot be read as JSON; left as it was\n"),
              std::string::npos);
    for (const char* job : kJobs) EXPECT_FALSE(fs::exists(plist(job))) << job;
    EXPECT_EQ(loadedJobs(), "");
    EXPECT_FALSE(fs::exists(pellixDir()));
}

TEST_F(AgentLifecycle, UninstallFinishesAHalfRemovedInstall) {
    install();
    fs::remove_all(pellixDir());
    fs::remove(plist("ai.pellix.pellix-service"));
    const auto outcome = run({"uninstall"});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.out << outcome.err;
    expectNothingOfTheAgentLeft();
}

TEST_F(AgentLifecycle, UninstallRemovesTheJobsOfAnOpenClawHomeThatIsGone) {
    install();
    fs::remove_all(openclawHome());
    const auto outcome = run({"uninstall"});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.out << outcome.err;
    EXPECT_NE(outcome.out.find("  ✓ openclaw.json: nothing of Pellix in it\n"), std::string::npos)
        << outcome.out;
    for (const char* job : kJobs) EXPECT_FALSE(fs::exists(plist(job))) << job;
    EXPECT_EQ(loadedJobs(), "");
    EXPECT_FALSE(fs::exists(openclawHome()));
}

TEST_F(AgentLifecycle, UninstallRemovesALinkedTreeButNotWhatItPointsTo) {
    install();
    const std::string elsewhere = root / "elsewhere";
    fs::rename(pellixDir(), elsewhere);
    fs::create_directory_symlink(elsewhere, pellixDir());
    ASSERT_EQ(run({"uninstall"}).exitStatus, 0);
    EXPECT_FALSE(fs::exists(fs::symlink_status(pellixDir())));
    EXPECT_TRUE(fs::exists(elsewhere + "/AGENTS.md"));
}

TEST_F(AgentLifecycle, UninstallKeepsTheUsersOwnLaterEdits) {
    install();
    json edited = json::parse(test::readFile(configFile()));
    edited["theme"] = "dark";
    test::writeFile(configFile(), edited.dump(2));
    ASSERT_EQ(run({"uninstall"}).exitStatus, 0);
    json expected = json::parse(kOriginalConfig);
    expected["theme"] = "dark";
    EXPECT_EQ(json::parse(test::readFile(configFile())), expected);
}

TEST_F(AgentLifecycle, UninstallWaitsForNoOtherInstaller) {
    install();
    std::optional<HomeLock> lock;
    ASSERT_EQ(HomeLock::tryAcquire(openclawHome(), lock), HomeLock::Outcome::acquired);
    for (const char* command : {"uninstall", "restore-config"}) {
        const auto outcome = run({command});
        EXPECT_EQ(outcome.exitStatus, 1) << command;
        EXPECT_EQ(outcome.out, "");
        EXPECT_EQ(outcome.err, anotherInstallerRunningMessage(openclawHome()) + "\n");
    }
    const json refused = runJson({"uninstall"});
    EXPECT_EQ(last.exitStatus, 1);
    EXPECT_EQ(refused, json({{"uninstalled", false},
                             {"changed", false},
                             {"error", anotherInstallerRunningMessage(openclawHome())}}));
    EXPECT_TRUE(fs::exists(pellixDir()));
    EXPECT_TRUE(fs::exists(plist("ai.pellix.pellix-service")));
}

TEST_F(AgentLifecycle, RestoreConfigWithoutABackupTouchesNothing) {
    struct stat before {};
    ASSERT_EQ(::stat(configFile().c_str(), &before), 0);
    const auto outcome = run({"restore-config"});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err, "No backup of " + configFile() +
                               " to restore: the installer has not changed it. Nothing was "
                               "touched.\n");
    struct stat after {};
    ASSERT_EQ(::stat(configFile().c_str(), &after), 0);
    EXPECT_EQ(after.st_ino, before.st_ino);
    EXPECT_EQ(test::readFile(configFile()), kOriginalConfig);
}

TEST_F(AgentLifecycle, RestoreConfigPutsBackTheOriginalBytesAndMode) {
    install();
    ASSERT_EQ(run({"uninstall"}).exitStatus, 0);
    install();
    ASSERT_NE(test::readFile(configFile()), kOriginalConfig);
    const json result = runJson({"restore-config"});
    EXPECT_EQ(last.exitStatus, 0) << last.err;
    EXPECT_EQ(result["restored"], true);
    EXPECT_EQ(test::readFile(configFile()), kOriginalConfig);
    EXPECT_EQ(fs::status(configFile()).permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write);
    ASSERT_TRUE(result["keptAsidePath"].is_string());
    EXPECT_NE(test::readFile(result["keptAsidePath"]).find("\"pellix\""), std::string::npos);
}

}  // namespace
}  // namespace pellix
