// Whole installs through the built executable's terminal mode, in a temporary HOME with fake
// launchctl and openclaw commands.

#include <gtest/gtest.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "HeadlessRun.h"
#include "TestSupport.h"
#include "files/HomeLock.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace pellix {
namespace {

using test::TempDir;

class HeadlessInstall : public ::testing::Test {
protected:
    void SetUp() override {
        test::makeDirs(openclawHome() + "/workspace-main/agents");
        test::writeFile(openclawHome() + "/openclaw.json",
                        R"({"agents": {"list": [{"id": "main", "model": "x"}]}, "port": 18789})");
        fakeBin = test::installFakeCommands(root / "fakebin");
        test::leadChildPathWith(home(), fakeBin);
    }

    std::string home() const { return root / "home"; }
    std::string openclawHome() const { return home() + "/.openclaw"; }
    std::string pellixDir() const {
        return openclawHome() + "/workspace-main/agents/pellix-unified";
    }

    test::ProcessOutcome run(std::vector<std::string> arguments, bool bundle = true) {
        if (!copy) copy.emplace(root / "app", bundle);
        arguments.insert(arguments.begin(), "--headless");
        return test::runInstaller(copy->executable(), arguments, home(), openclawOverride);
    }

    nlohmann::ordered_json runJson(std::vector<std::string> arguments = {}, bool bundle = true) {
        arguments.push_back("--json");
        last = run(arguments, bundle);
        // Throws, failing the test, unless standard output holds nothing but one JSON object.
        return nlohmann::ordered_json::parse(last.out);
    }

    static std::vector<std::string> statuses(const nlohmann::ordered_json& summary) {
        std::vector<std::string> result;
        for (const auto& step : summary["steps"]) result.push_back(step["status"]);
        return result;
    }

    TempDir root;
    std::string fakeBin;
    std::optional<test::InstalledCopy> copy;
    std::optional<std::string> openclawOverride;
    test::ProcessOutcome last{};
};

TEST_F(HeadlessInstall, FreshInstallPrintsEachRowAsItsResultArrives) {
    const test::ProcessOutcome outcome = run({});
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    const std::string expected =
        "Installing Pellix (scan: standard, model: sonnet)\n"
        "  ✓ Checking OpenClaw installation — " +
        openclawHome() +
        "\n"
        "  ✓ Detecting workspace — workspace-main\n"
        "  ✓ Installing Pellix agent files — Installed from app bundle\n"
        "  ✓ Creating agent session store — " +
        openclawHome() +
        "/agents/pellix/sessions\n"
        "  ✓ Registering Pellix in openclaw.json — Registered with sonnet model, 15m scan\n"
        "  ✓ Adding Pellix to spawn allowlist — Added to main agent's spawn allowlist\n"
        "  ✓ Setting up ops directories — 4 directories ready\n"
        "  ✓ Installing always-on service — Always-on service running (30s session polling)\n"
        "  ✓ Installing scheduled scanners — 3 scheduled scanners active\n"
        "  ✓ Restarting OpenClaw gateway — Gateway restarted\n"
        "  ✓ Verifying installation — All files verified, service running — Pellix is watching "
        "🧠\n"
        "Pellix is watching. Next: register your agents in "
        "agents/pellix-unified/ops/agent-watch-list.md\n";
    EXPECT_EQ(outcome.out, expected);
    EXPECT_EQ(outcome.out.find('\033'), std::string::npos) << "no colour when not on a terminal";
}

TEST_F(HeadlessInstall, FreshInstallLeavesEveryLastingEffect) {
    ASSERT_EQ(run({"--scan", "vigilant", "--model", "haiku"}).exitStatus, 0);
    EXPECT_TRUE(fs::exists(pellixDir() + "/skills/pellix-core/SKILL.md"));
    EXPECT_TRUE(fs::is_directory(openclawHome() + "/agents/pellix/sessions"));
    EXPECT_TRUE(fs::is_directory(pellixDir() + "/ops/wal"));
    for (const char* job :
         {"pellix-service", "pellix.wal", "pellix.tripwire-grep", "pellix.tripwire-ai"}) {
        EXPECT_TRUE(fs::exists(home() + "/Library/LaunchAgents/ai.pellix." + job + ".plist"))
            << job;
    }
    const json config = json::parse(test::readFile(openclawHome() + "/openclaw.json"));
    EXPECT_EQ(config["port"], 18789);
    const json& agents = config["agents"]["list"];
    ASSERT_EQ(agents.size(), 2u);
    EXPECT_EQ(agents[0]["subagents"]["allowAgents"], json::array({"pellix"}));
    EXPECT_EQ(agents[1]["name"], "pellix");
    EXPECT_EQ(agents[1]["model"], "anthropic/claude-haiku-3-5-20241022");
    EXPECT_EQ(agents[1]["heartbeatIntervalMinutes"], 5);
}

TEST_F(HeadlessInstall, JsonSummaryIsTheOnlyOutput) {
    const auto summary = runJson({"--scan", "daily", "--model", "opus"});
    EXPECT_EQ(last.exitStatus, 0);
    std::vector<std::string> keys;
    for (const auto& item : summary.items()) keys.push_back(item.key());
    // The window's state first, then what the run found out besides its rows.
    EXPECT_EQ(keys, std::vector<std::string>({"phase", "progress", "errorMessage", "scanPreset",
                                              "modelChoice", "changed", "steps", "registration",
                                              "allowlistRefused", "gatewayConfigRefused",
                                              "keptBeside", "choicesKept"}));
    EXPECT_EQ(summary["phase"], "complete");
    EXPECT_EQ(summary["progress"], 1.0);
    EXPECT_EQ(summary["errorMessage"], "");
    EXPECT_EQ(summary["scanPreset"], "daily");
    EXPECT_EQ(summary["modelChoice"], "opus");
    EXPECT_EQ(statuses(summary), std::vector<std::string>(11, "success"));
    EXPECT_EQ(summary["steps"][4]["detail"], "Registered with opus model, 1440m scan");
    EXPECT_EQ(summary["steps"][0]["label"], "Checking OpenClaw installation");
}

TEST_F(HeadlessInstall, SecondInstallReplacesTheTreeAndReloadsTheJobs) {
    ASSERT_EQ(run({}).exitStatus, 0);
    test::writeFile(pellixDir() + "/left-from-first-run.txt", "old");
    const std::string configAfterFirst = test::readFile(openclawHome() + "/openclaw.json");
    const auto summary = runJson();
    EXPECT_EQ(summary["phase"], "complete");
    EXPECT_EQ(summary["steps"][4]["detail"], "Already registered");
    EXPECT_EQ(summary["steps"][5]["detail"], "Already in allowlist");
    EXPECT_EQ(test::readFile(openclawHome() + "/openclaw.json"), configAfterFirst);
    EXPECT_FALSE(fs::exists(pellixDir() + "/left-from-first-run.txt"));
    const std::string calls = test::readFile(fakeBin + "/calls.log");
    std::size_t bootstraps = 0;
    for (auto at = calls.find("bootstrap"); at != std::string::npos;
         at = calls.find("bootstrap", at + 1)) {
        ++bootstraps;
    }
    EXPECT_EQ(bootstraps, 2u);
    EXPECT_EQ(summary["steps"][7]["detail"], "Always-on service running (30s session polling)");
}

TEST_F(HeadlessInstall, MissingOpenClawStopsWithTheDocumentationHint) {
    openclawOverride = root / "no-openclaw-here";
    const auto summary = runJson();
    EXPECT_EQ(last.exitStatus, 1);
    EXPECT_EQ(summary["phase"], "error");
    EXPECT_EQ(summary["progress"], 1.0 / 11.0);
    EXPECT_EQ(summary["errorMessage"],
              "OpenClaw must be installed first. Visit docs.openclaw.ai for setup instructions.");
    EXPECT_EQ(statuses(summary)[0], "failed");
    EXPECT_EQ(statuses(summary)[1], "pending");
    EXPECT_EQ(last.err,
              "Installation failed: OpenClaw must be installed first. Visit "
              "docs.openclaw.ai for setup instructions.\n");
}

TEST_F(HeadlessInstall, AnotherInstallerOnTheSameHomeStopsItBeforeAnyChange) {
    std::optional<HomeLock> held;
    ASSERT_EQ(HomeLock::tryAcquire(openclawHome(), held), HomeLock::Outcome::acquired);
    const std::string configBefore = test::readFile(openclawHome() + "/openclaw.json");
    last = run({});
    EXPECT_EQ(last.exitStatus, 1);
    EXPECT_EQ(last.err, "Installation failed: Another Pellix installer is already working on " +
                            openclawHome() + ". Wait for it to finish, then try again.\n");
    EXPECT_FALSE(fs::exists(pellixDir()));
    EXPECT_EQ(test::readFile(openclawHome() + "/openclaw.json"), configBefore);

    held.reset();
    EXPECT_EQ(run({}).exitStatus, 0);
    EXPECT_TRUE(fs::exists(pellixDir()));
}

TEST_F(HeadlessInstall, NoWorkspaceStopsOnTheSecondRow) {
    fs::remove_all(openclawHome() + "/workspace-main");
    const auto summary = runJson();
    EXPECT_EQ(last.exitStatus, 1);
    EXPECT_EQ(summary["progress"], 2.0 / 11.0);
    EXPECT_EQ(summary["steps"][1]["detail"], "No workspace-* directory found");
    EXPECT_EQ(summary["errorMessage"],
              "No OpenClaw workspace found. Create one first: openclaw init");
}

TEST_F(HeadlessInstall, InstallerWithoutBundleAndNoEarlierInstallStops) {
    const auto summary = runJson({}, false);
    EXPECT_EQ(last.exitStatus, 1);
    EXPECT_EQ(summary["progress"], 3.0 / 11.0);
    EXPECT_EQ(summary["errorMessage"], "Pellix agent files not found. Place them at " +
                                           pellixDir() +
                                           " or rebuild the installer with the bundle.");
}

TEST_F(HeadlessInstall, InstallerWithoutBundleKeepsAnEarlierInstall) {
    test::writeSampleAgent(pellixDir());
    const auto summary = runJson({}, false);
    EXPECT_EQ(last.exitStatus, 0);
    EXPECT_EQ(summary["steps"][2]["detail"], "Already present at " + pellixDir());
}

TEST_F(HeadlessInstall, CopyFailureStopsWithTheSystemsText) {
    fs::remove_all(openclawHome() + "/workspace-main/agents");
    const auto summary = runJson();
    EXPECT_EQ(last.exitStatus, 1);
    EXPECT_EQ(summary["steps"][2]["status"], "failed");
    EXPECT_EQ(summary["errorMessage"], "Failed to copy agent files: No such file or directory");
}

TEST_F(HeadlessInstall, UnreadableConfigStopsAtRegistration) {
    test::writeFile(openclawHome() + "/openclaw.json", "{ not json");
    const auto summary = runJson();
    EXPECT_EQ(last.exitStatus, 1);
    EXPECT_EQ(summary["progress"], 5.0 / 11.0);
    EXPECT_EQ(summary["errorMessage"], "Cannot read openclaw.json");
    EXPECT_EQ(test::readFile(openclawHome() + "/openclaw.json"), "{ not json");
}

TEST_F(HeadlessInstall, MarksAreColouredOnATerminal) {
    copy.emplace(root / "app", true);
    const auto outcome = test::runInstaller(copy->executable(), {"--headless"}, home(),
                                            std::nullopt, {.onTerminal = true, .environment = {}});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_NE(outcome.out.find("\033[32m✓\033[0m Detecting workspace"), std::string::npos)
        << outcome.out;
}

TEST_F(HeadlessInstall, NoColorKeepsATerminalPlain) {
    copy.emplace(root / "app", true);
    const auto outcome =
        test::runInstaller(copy->executable(), {"--headless"}, home(), std::nullopt,
                           {.onTerminal = true, .environment = {"NO_COLOR=1"}});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_NE(outcome.out.find("✓ Detecting workspace"), std::string::npos) << outcome.out;
    EXPECT_EQ(outcome.out.find('\033'), std::string::npos);
}

TEST_F(HeadlessInstall, WarningsAreCountedInTheClosingLine) {
    test::writeFile(fakeBin + "/fail-openclaw", "");
    const test::ProcessOutcome outcome = run({});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_NE(outcome.out.find("  ! Restarting OpenClaw gateway — Restart may need manual run\n"),
              std::string::npos);
    EXPECT_TRUE(outcome.out.ends_with(
        "Pellix is installed; 1 step needs a look (see above). Next: register your agents in "
        "agents/pellix-unified/ops/agent-watch-list.md\n"));
}

TEST_F(HeadlessInstall, PartialBundleEndsCompleteWithAWarning) {
    copy.emplace(root / "app", true);
    fs::remove(copy->bundleDir() + "/README.md");
    const auto summary = runJson();
    EXPECT_EQ(last.exitStatus, 0);
    EXPECT_EQ(summary["phase"], "complete");
    EXPECT_EQ(summary["steps"][10]["status"], "warning");
    EXPECT_EQ(summary["steps"][10]["detail"], "1 files missing — partial install");
}

TEST_F(HeadlessInstall, ServiceThatDoesNotLoadEndsWithFilesOk) {
    // Only launchd versions that print "Bad request." first keep the job's label out of the
    // first line of their answer, so only there does the step notice.
    test::writeFile(fakeBin + "/fail-bootstrap", "");
    test::writeFile(fakeBin + "/bad-request", "");
    const auto summary = runJson();
    EXPECT_EQ(last.exitStatus, 0);
    EXPECT_EQ(summary["steps"][7]["detail"],
              "Service installed but may need login/restart to activate");
    EXPECT_EQ(summary["steps"][10]["detail"], "Files OK, service may need restart");
}

TEST_F(HeadlessInstall, ChattyOrSlowLaunchctlChangesNothing) {
    const auto quiet = runJson();
    fs::remove_all(home() + "/Library");
    test::writeFile(fakeBin + "/flood-print", "");
    test::writeFile(fakeBin + "/flood-list", "");
    test::writeFile(fakeBin + "/sleep-bootstrap", "2");
    const auto noisy = runJson();
    EXPECT_EQ(last.exitStatus, 0);
    EXPECT_EQ(statuses(noisy), statuses(quiet));
    EXPECT_EQ(noisy["steps"][7], quiet["steps"][7]);
    EXPECT_EQ(noisy["steps"][10], quiet["steps"][10]);
}

}  // namespace
}  // namespace pellix
