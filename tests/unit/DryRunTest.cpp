// --dry-run on install, configure, uninstall and restore-config: nothing below the sandbox
// changes and no command that changes anything runs; then the same command for real does exactly
// what the plan said (the diff patches today's openclaw.json into the file written, the files and
// folders listed are the ones written, the commands listed are the ones run).

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <sstream>

#include "Cli.h"
#include "InProcessCommands.h"
#include "TestSupport.h"
#include "TreeSnapshot.h"
#include "files/FileIo.h"
#include "files/HomeLock.h"

using nlohmann::json;

namespace pellix {
namespace {

// The calls that change something: launchctl's loading verbs and the gateway restart.
bool isChangingCall(const std::string& call) {
    static const std::regex changing(
        R"(^(launchctl (bootstrap|bootout|load|unload)|openclaw gateway restart)\b.*)");
    return std::regex_match(call, changing);
}

// The fakes' calls that change something, from their log.
std::vector<std::string> changingCalls(const std::string& log) {
    std::vector<std::string> calls;
    std::istringstream lines(log);
    for (std::string line; std::getline(lines, line);) {
        if (isChangingCall(line)) calls.push_back(line);
    }
    return calls;
}

// The calls a planned command line makes, as the fakes log them.
std::vector<std::string> callsOf(std::string command) {
    command = std::regex_replace(command, std::regex(R"(\$\(id -u\))"), std::to_string(::getuid()));
    command = std::regex_replace(command, std::regex(R"( 2>/dev/null)"), "");
    command = std::regex_replace(command, std::regex("'"), "");
    std::vector<std::string> calls;
    std::regex separator(R"(\s*(;|&&)\s*)");
    for (std::sregex_token_iterator it(command.begin(), command.end(), separator, -1), end;
         it != end; ++it) {
        const std::string call = *it;
        if (std::regex_match(call, std::regex(R"(^(launchctl|openclaw) .*)"))) {
            calls.push_back(call);
        }
    }
    return calls;
}

// The file at `path`; for the file a restore keeps aside, named after the time of its run, one of
// that name with whichever second the real run took.
bool existsAsPlanned(const std::string& path) {
    static const std::regex keptAside(R"((.*\.before-restore-)\d{8}T\d{6}Z)");
    std::smatch named;
    if (!std::regex_match(path, named, keptAside)) return somethingExistsAt(path);
    const std::filesystem::path folder = std::filesystem::path(path).parent_path();
    for (const auto& entry : std::filesystem::directory_iterator(folder)) {
        if (std::regex_match(entry.path().string(), keptAside) &&
            entry.path().string().starts_with(named[1].str())) {
            return true;
        }
    }
    return false;
}

class DryRun : public test::InProcessCommands {
protected:
    // Everything but the fakes' own folder, whose log and state they write on every call.
    test::TreeSnapshot snapshot() {
        const std::string fakes =
            std::filesystem::path(sandbox.fakeBin()).lexically_relative(sandbox.root()).string();
        return test::snapshotTree(sandbox.root(), {fakes});
    }

    // Runs the command with --dry-run (and --json), checks that nothing changed, then runs it for
    // real and checks that it did exactly what the plan said.
    json bothWays(const std::vector<std::string>& command) {
        const std::string configBefore = test::readFile(sandbox.configFile());
        const test::TreeSnapshot before = snapshot();
        const std::string loadedBefore = sandbox.loadedJobs();
        const std::size_t logBefore = sandbox.calls().size();
        std::vector<std::string> dry = command;
        dry.push_back("--dry-run");
        const json plan = runJson(dry);
        const int planned = exitStatus;
        EXPECT_EQ(plan["dryRun"], true) << out.str();
        EXPECT_EQ(describeDifference(before, snapshot()), "");
        EXPECT_EQ(sandbox.loadedJobs(), loadedBefore);
        EXPECT_EQ(changingCalls(sandbox.calls().substr(logBefore)), std::vector<std::string>{});

        runJson(command);
        EXPECT_EQ(exitStatus, planned) << err.str();
        checkDone(plan, configBefore, sandbox.calls().substr(logBefore));
        return plan;
    }

    void checkDone(const json& plan, const std::string& configBefore, const std::string& log) {
        bool configPlanned = false;
        std::vector<std::string> plannedCalls;
        for (const json& change : plan["changes"]) {
            const std::string kind = change["kind"];
            if (kind == "command") {
                for (std::string& call : callsOf(change["command"])) plannedCalls.push_back(call);
                continue;
            }
            const std::string path = change["path"];
            if (path == sandbox.configFile()) {
                configPlanned = true;
                const test::Patched patched = test::applyPatch(configBefore, change["diff"]);
                EXPECT_EQ(patched.messages, "");
                EXPECT_EQ(patched.result, test::readFile(sandbox.configFile()));
            } else if (kind == "remove") {
                EXPECT_FALSE(somethingExistsAt(path)) << path;
            } else if (kind == "file" && change["text"].is_string()) {
                EXPECT_EQ(test::readFile(path), change["text"]) << path;
            } else {
                EXPECT_TRUE(existsAsPlanned(path)) << kind << " " << path;
            }
        }
        if (!configPlanned) {
            EXPECT_EQ(test::readFile(sandbox.configFile()), configBefore);
        }
        // The run's calls that change something, after the dry run's (which made none).
        std::vector<std::string> ran = changingCalls(log);
        std::erase_if(plannedCalls, [](const std::string& call) { return !isChangingCall(call); });
        EXPECT_EQ(ran, plannedCalls);
    }

    static std::size_t countOf(const json& plan, const std::string& kind) {
        return std::count_if(plan["changes"].begin(), plan["changes"].end(),
                             [&](const json& change) { return change["kind"] == kind; });
    }
};

TEST_F(DryRun, FreshInstallPlansEveryChangeAndTheRealRunMakesExactlyThose) {
    const json plan = bothWays({"install"});
    EXPECT_EQ(plan["changed"], true);
    EXPECT_EQ(plan["command"], "install");
    EXPECT_EQ(plan["error"], nullptr);
    ASSERT_GE(plan["steps"].size(), 11u);
    EXPECT_EQ(plan["steps"][0]["label"], "Checking OpenClaw installation");
    EXPECT_EQ(plan["steps"][0]["changes"].size(), 0u);
    // The agent's files: the count planned is the count the bundle gave.
    bool copied = false;
    for (const json& change : plan["changes"]) {
        if (change["kind"] == "agentFiles" && change["path"] == sandbox.pellixDir()) {
            const std::size_t files = test::filesBelow(sandbox.pellixDir(), "ops").size();
            EXPECT_TRUE(std::string(change["action"])
                            .starts_with("copy " + std::to_string(files) + " files"))
                << change["action"];
            copied = true;
        }
    }
    EXPECT_TRUE(copied);
    EXPECT_EQ(countOf(plan, "file") >= 6, true) << plan.dump(2);
}

TEST_F(DryRun, ReinstallPlansTheTreeAndTheRestartsAndLeavesTheEntryAlone) {
    install();
    test::writeFile(sandbox.pellixDir() + "/ops/memory/notes.md", "the user's notes\n");
    const json plan = bothWays({"install", "--scan", "daily"});
    for (const json& change : plan["changes"]) {
        EXPECT_NE(change.value("path", ""), sandbox.configFile()) << "the entry is kept as it is";
    }
    EXPECT_EQ(test::readFile(sandbox.pellixDir() + "/ops/memory/notes.md"), "the user's notes\n");
    EXPECT_TRUE(plan.dump().find("carry across as they are") != std::string::npos);
}

TEST_F(DryRun, ConfigurePlansTheEntrysNewValuesAsAPatch) {
    install();
    const json plan = bothWays({"configure", "--scan", "daily", "--model", "opus"});
    EXPECT_EQ(plan["changed"], true);
    EXPECT_EQ(countOf(plan, "command"), 1u);
}

TEST_F(DryRun, ConfigureWithNothingToChangeSaysSo) {
    install();
    const json plan = bothWays({"configure", "--scan", "standard"});
    EXPECT_EQ(plan["changed"], false);
    EXPECT_EQ(plan["changes"].size(), 0u);
    EXPECT_EQ(run({"configure", "--dry-run"}), 0);
    EXPECT_TRUE(out.str().find("Nothing to change.") != std::string::npos) << out.str();
}

TEST_F(DryRun, UninstallPlansEveryRemovalAndThePutBackFile) {
    install();
    const json plan = bothWays({"uninstall", "--purge"});
    EXPECT_EQ(plan["changed"], true);
    EXPECT_GE(countOf(plan, "remove"), 6u) << plan.dump(2);
}

TEST_F(DryRun, RestoreConfigPlansTheBackupsBytesAndWhereTheFileIsKept) {
    install();
    const json plan = bothWays({"restore-config"});
    EXPECT_EQ(plan["changed"], true);
}

TEST_F(DryRun, CrLfLinesAndNoFinalNewlinePatchBackExactly) {
    test::writeFile(sandbox.configFile(),
                    "{\r\n  \"agents\": {\"list\": [{\"id\": \"main\"}]},\r\n  \"zeta\": 1\r\n}");
    bothWays({"install"});
}

// Written in the installer's own layout, as a file it or the host saved before: the diff is then
// a few lines in 30 MB.
TEST_F(DryRun, ThirtyMegabyteConfigStillGetsAnExactDiff) {
    std::string big =
        "{\n  \"agents\": {\n    \"list\": [\n      {\n        \"id\": \"main\"\n"
        "      }\n    ]\n  },\n  \"padding\": [\n";
    while (big.size() < 30u * 1024 * 1024) big += "    \"" + std::string(100, 'x') + "\",\n";
    big += "    \"end\"\n  ]\n}\n";
    test::writeFile(sandbox.configFile(), big);
    const json plan = bothWays({"install"});
    for (const json& change : plan["changes"]) {
        if (change.value("path", "") == sandbox.configFile()) {
            EXPECT_LT(std::string(change["diff"]).size(), 4096u);
        }
    }
}

TEST_F(DryRun, ExitsAsTheRealRunWouldWithoutAnOpenClawHome) {
    test::Sandbox empty(false);
    std::ostringstream planOut, planErr, realOut, realErr;
    const int planned =
        runCommandLine({"install", "--dry-run"}, empty.platform(), {planOut, planErr});
    const int real = runCommandLine({"install"}, empty.platform(), {realOut, realErr});
    EXPECT_EQ(planned, 1);
    EXPECT_EQ(real, 1);
    EXPECT_EQ(planErr.str(), realErr.str());
}

TEST_F(DryRun, IsRefusedWhileAnotherInstallerWorksOnTheHome) {
    std::optional<HomeLock> held;
    ASSERT_EQ(HomeLock::tryAcquire(sandbox.openclawHome(), held), HomeLock::Outcome::acquired);
    EXPECT_EQ(run({"install", "--dry-run"}), 1);
    EXPECT_TRUE(err.str().find("Another Pellix installer is already working on") !=
                std::string::npos)
        << err.str();
}

TEST_F(DryRun, TextPlanEndsWithTheDiffThatPatchTakes) {
    const std::string before = test::readFile(sandbox.configFile());
    ASSERT_EQ(run({"install", "--dry-run"}), 0) << err.str();
    const std::string text = out.str();
    EXPECT_TRUE(text.starts_with("Dry run: nothing is changed.")) << text;
    const auto diff = text.find("\n--- a/openclaw.json\n+++ b/openclaw.json\n");
    ASSERT_NE(diff, std::string::npos) << text;
    run({"install"});
    EXPECT_EQ(test::applyPatch(before, text.substr(diff + 1)).result,
              test::readFile(sandbox.configFile()));
}

}  // namespace
}  // namespace pellix
