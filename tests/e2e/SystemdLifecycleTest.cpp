// Install, status and uninstall through the built binary under a real systemd user manager: the
// service's process runs after the install and is gone after the uninstall.

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>

#include "HeadlessRun.h"
#include "TestSupport.h"
#include "TreeSnapshot.h"
#include "UserManager.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace pellix {
namespace {

constexpr const char* kSystemdHomeConfig =
    R"({"agents": {"list": [{"id": "main", "subagents": {"allowAgents": ["helper"]}}]}, "port": 1})";

class SystemdLifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        test::makeDirs(openclawHome() + "/workspace-main/agents");
        test::writeFile(openclawHome() + "/openclaw.json", kSystemdHomeConfig);
        fakeBin = test::installFakeCommands(root / "fakebin");
        // Without launchctl on the children's PATH the installer picks systemd.
        fs::remove(fakeBin + "/launchctl");
        test::leadChildPathWith(home(), fakeBin);
        manager.emplace(home());
        if (!manager->available()) GTEST_SKIP() << manager->unavailableReason();
        copy.emplace(root / "app");
    }

    std::string home() const { return root / "home"; }
    std::string openclawHome() const { return home() + "/.openclaw"; }
    std::string unitFolder() const { return home() + "/.config/systemd/user"; }

    test::ProcessOutcome run(const std::vector<std::string>& arguments) {
        test::RunOptions options;
        options.environment = {"XDG_RUNTIME_DIR=" + manager->runtimeDirectory()};
        return test::runInstaller(copy->executable(), arguments, home(), std::nullopt, options);
    }

    test::TempDir root;
    std::string fakeBin;
    std::optional<test::UserManager> manager;
    std::optional<test::InstalledCopy> copy;
};

TEST_F(SystemdLifecycle, InstallStatusUninstallStatusUninstall) {
    const auto installed = run({"install"});
    ASSERT_EQ(installed.exitStatus, 0) << installed.out << installed.err;

    const auto statusRun = run({"status", "--json"});
    EXPECT_EQ(statusRun.exitStatus, 0) << statusRun.out << statusRun.err;
    const json status = json::parse(statusRun.out);
    EXPECT_EQ(status["serviceManager"], "systemd");
    EXPECT_EQ(status["problems"], json::array());
    ASSERT_TRUE(status["jobs"][0]["pid"].is_number());
    const std::string process = "/proc/" + std::to_string(status["jobs"][0]["pid"].get<long>());
    EXPECT_TRUE(fs::exists(process));
    for (std::size_t i = 1; i < 4; ++i) EXPECT_EQ(status["jobs"][i]["loaded"], true) << i;

    const auto removed = run({"uninstall"});
    EXPECT_EQ(removed.exitStatus, 0) << removed.out << removed.err;
    EXPECT_FALSE(fs::exists(process)) << "the service's process is gone";
    EXPECT_EQ(manager->systemctl("list-units --all --no-legend 'ai.pellix*'").output, "");
    std::error_code error;
    EXPECT_TRUE(fs::is_empty(unitFolder(), error) || !fs::exists(unitFolder()));
    EXPECT_FALSE(fs::exists(openclawHome() + "/workspace-main/agents/pellix-unified"));
    EXPECT_EQ(json::parse(test::readFile(openclawHome() + "/openclaw.json")),
              json::parse(kSystemdHomeConfig));

    EXPECT_EQ(run({"status"}).exitStatus, 3);
    const std::string calls = test::readFile(fakeBin + "/calls.log");
    const auto again = run({"uninstall"});
    EXPECT_EQ(again.exitStatus, 0) << again.err;
    EXPECT_EQ(test::readFile(fakeBin + "/calls.log"), calls) << "no gateway restart";
}

// The job rows of the cure: each break named by status under the real manager, and cured by a
// second install with the agent's data kept.
TEST_F(SystemdLifecycle, ASecondInstallCuresADeletedUnitAStoppedJobAndADisabledOne) {
    const auto installed = run({"install"});
    ASSERT_EQ(installed.exitStatus, 0) << installed.out << installed.err;
    const std::string keep =
        openclawHome() + "/workspace-main/agents/pellix-unified/ops/memory/keep.md";
    test::writeFile(keep, "mine\n");
    const std::pair<const char*, const char*> breaks[] = {
        {"rm -f \"$HOME/.config/systemd/user/ai.pellix.pellix.wal.timer\" && "
         "systemctl --user daemon-reload",
         "ai.pellix.pellix.wal"},
        {"systemctl --user stop ai.pellix.pellix-service.service", "ai.pellix.pellix-service"},
        {"systemctl --user disable --now ai.pellix.pellix.tripwire-ai.timer",
         "ai.pellix.pellix.tripwire-ai"},
    };
    for (const auto& [command, named] : breaks) {
        const std::string shell = "HOME=" + home() +
                                  " XDG_RUNTIME_DIR=" + manager->runtimeDirectory() + " sh -c '" +
                                  command + "'";
        ASSERT_EQ(std::system(shell.c_str()), 0) << command;
        const auto broken = run({"status", "--json"});
        EXPECT_EQ(broken.exitStatus, 1) << command << "\n" << broken.out;
        EXPECT_NE(json::parse(broken.out)["problems"].dump().find(named), std::string::npos)
            << command << "\n"
            << broken.out;
        const auto cured = run({"install"});
        EXPECT_EQ(cured.exitStatus, 0) << cured.out << cured.err;
        const auto healthy = run({"status", "--json"});
        EXPECT_EQ(healthy.exitStatus, 0) << command << "\n" << healthy.out;
        EXPECT_EQ(test::readFile(keep), "mine\n");
    }
}

// Dry runs under the real manager: nothing on disk and nothing in the manager changes; the real
// runs then write the unit files with the planned texts and remove the ones planned.
TEST_F(SystemdLifecycle, DryRunsChangeNothingInTheManagerAndTheRealRunsDoWhatTheyPlanned) {
    const std::string units = "list-units --all --no-legend 'ai.pellix*'";
    const test::TreeSnapshot fresh = test::snapshotTree(root.path(), {"fakebin"});
    const auto planned = run({"install", "--dry-run", "--json"});
    ASSERT_EQ(planned.exitStatus, 0) << planned.out << planned.err;
    EXPECT_EQ(test::snapshotTree(root.path(), {"fakebin"}), fresh)
        << test::describeDifference(fresh, test::snapshotTree(root.path(), {"fakebin"}));
    EXPECT_EQ(manager->systemctl(units).output, "");
    const json plan = json::parse(planned.out);
    EXPECT_EQ(plan["changed"], true);
    std::map<std::string, std::string> unitTexts;
    std::string commands;
    for (const json& change : plan["changes"]) {
        if (change["kind"] == "command") commands += change["command"].get<std::string>() + "\n";
        if (change["kind"] == "file" &&
            change["path"].get<std::string>().starts_with(unitFolder())) {
            unitTexts[change["path"].get<std::string>()] = change["text"].get<std::string>();
        }
    }
    EXPECT_EQ(unitTexts.size(), 7u) << planned.out;
    EXPECT_NE(commands.find("systemctl --user enable ai.pellix.pellix-service.service"),
              std::string::npos)
        << commands;

    const auto installed = run({"install"});
    ASSERT_EQ(installed.exitStatus, 0) << installed.out << installed.err;
    for (const auto& [path, text] : unitTexts) EXPECT_EQ(test::readFile(path), text) << path;
    EXPECT_NE(manager->systemctl(units).output, "");

    const json status = json::parse(run({"status", "--json"}).out);
    ASSERT_TRUE(status["jobs"][0]["pid"].is_number()) << status.dump(2);
    const std::string process = "/proc/" + std::to_string(status["jobs"][0]["pid"].get<long>());
    // The running service writes its own logs and data under ops/ meanwhile.
    const std::vector<std::string> skipped = {
        "fakebin", "home/.openclaw/workspace-main/agents/pellix-unified/ops"};
    const test::TreeSnapshot installedTree = test::snapshotTree(root.path(), skipped);
    const auto plannedRemoval = run({"uninstall", "--dry-run", "--json"});
    ASSERT_EQ(plannedRemoval.exitStatus, 0) << plannedRemoval.out << plannedRemoval.err;
    EXPECT_EQ(test::snapshotTree(root.path(), skipped), installedTree)
        << test::describeDifference(installedTree, test::snapshotTree(root.path(), skipped));
    EXPECT_TRUE(fs::exists(process)) << "the service still runs after the dry run";
    std::vector<std::string> removals;
    const json removalPlan = json::parse(plannedRemoval.out);
    for (const json& change : removalPlan["changes"]) {
        if (change["kind"] == "remove") removals.push_back(change["path"].get<std::string>());
    }
    for (const auto& [path, text] : unitTexts) {
        EXPECT_NE(std::find(removals.begin(), removals.end(), path), removals.end()) << path;
    }

    const auto removed = run({"uninstall"});
    EXPECT_EQ(removed.exitStatus, 0) << removed.out << removed.err;
    for (const std::string& path : removals) EXPECT_FALSE(fs::exists(path)) << path;
    EXPECT_FALSE(fs::exists(process));
}

}  // namespace
}  // namespace pellix
