// Whole installs through the built executable on Linux, under a real systemd user manager: the
// agent's service and scanners must really run, come back when killed, and stay one set of units.

#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <functional>
#include <nlohmann/json.hpp>
#include <optional>
#include <thread>

#include "HeadlessRun.h"
#include "Platform.h"
#include "TestSupport.h"
#include "UserManager.h"

namespace fs = std::filesystem;

namespace pellix {
namespace {

using test::TempDir;

const std::vector<std::string> kUnits = {"ai.pellix.pellix-service.service",
                                         "ai.pellix.pellix.tripwire-ai.service",
                                         "ai.pellix.pellix.tripwire-ai.timer",
                                         "ai.pellix.pellix.tripwire-grep.service",
                                         "ai.pellix.pellix.tripwire-grep.timer",
                                         "ai.pellix.pellix.wal.service",
                                         "ai.pellix.pellix.wal.timer"};
const std::string kService = "ai.pellix.pellix-service.service";

bool eventually(const std::function<bool()>& done, int seconds = 15) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < deadline) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    return done();
}

std::vector<std::string> namesIn(const std::string& folder) {
    std::vector<std::string> names;
    std::error_code error;
    for (const auto& entry : fs::directory_iterator(folder, error)) {
        names.push_back(entry.path().filename().string());
    }
    std::sort(names.begin(), names.end());
    return names;
}

// A Linux machine: no launchctl, only the fake openclaw on the children's PATH.
class LinuxInstall : public ::testing::Test {
protected:
    void SetUp() override {
        // A blank in the OpenClaw home puts one in every path the units carry.
        test::makeDirs(openclawHome() + "/workspace-main/agents");
        test::writeFile(openclawHome() + "/openclaw.json",
                        R"({"agents": {"list": [{"id": "main", "model": "x"}]}})");
        // With a launchctl on its PATH the installer would pick launchd.
        const std::string fakeBin = test::installFakeCommands(root / "fakebin");
        fs::remove(fakeBin + "/launchctl");
        test::leadChildPathWith(home(), fakeBin);
    }

    std::string home() const { return root / "home"; }
    std::string openclawHome() const { return root / "open claw"; }
    std::string pellixDir() const {
        return openclawHome() + "/workspace-main/agents/pellix-unified";
    }

    test::ProcessOutcome install(const std::string& runtimeDirectory) {
        if (!copy) copy.emplace(root / "app");
        test::RunOptions options;
        options.environment = {"XDG_RUNTIME_DIR=" + runtimeDirectory};
        return test::runInstaller(copy->executable(), {"--headless"}, home(), openclawHome(),
                                  options);
    }

    bool logHolds(const std::string& relative, const std::string& text) const {
        return test::readFile(pellixDir() + "/" + relative).find(text) != std::string::npos;
    }

    TempDir root;
    std::optional<test::InstalledCopy> copy;
};

class SystemdInstall : public LinuxInstall {
protected:
    void SetUp() override {
        LinuxInstall::SetUp();
        manager.emplace(home());
        if (!manager->available()) GTEST_SKIP() << manager->unavailableReason();
    }

    test::ProcessOutcome install() { return LinuxInstall::install(manager->runtimeDirectory()); }

    std::string systemctl(const std::string& arguments) const {
        return manager->systemctl(arguments).output;
    }

    long servicePid() const {
        const std::string pid = systemctl("show -p MainPID --value " + kService);
        return pid.empty() ? 0 : std::stol(pid);
    }

    std::optional<test::UserManager> manager;
};

TEST_F(LinuxInstall, WithoutAUserManagerUnitsAreWrittenAndOneLineSaysHowToStartThem) {
    if (::access("/usr/bin/systemctl", X_OK) != 0 && ::access("/bin/systemctl", X_OK) != 0) {
        GTEST_SKIP() << "systemctl is not installed (scripts/setup installs systemd)";
    }
    test::makeDirs(root / "empty-runtime");
    const test::ProcessOutcome outcome = install(root / "empty-runtime");
    EXPECT_EQ(outcome.exitStatus, 0);
    const std::string folder = home() + "/.config/systemd/user";
    EXPECT_EQ(outcome.err,
              "No systemd user manager answered; the Pellix units are written to " + folder +
                  ". Start them from a login session with: systemctl --user daemon-reload && "
                  "systemctl --user enable --now ai.pellix.pellix-service.service "
                  "ai.pellix.pellix.wal.timer ai.pellix.pellix.tripwire-grep.timer "
                  "ai.pellix.pellix.tripwire-ai.timer (on a server, run `loginctl enable-linger " +
                  currentUserName() + "` first so they run without a login).\n");
    for (const char* row : {"  ! Installing always-on service — Service installed but may need "
                            "login/restart to activate\n",
                            "  ✓ Installing scheduled scanners — 3 scheduled scanners active\n",
                            "  ! Verifying installation — Files OK, service may need restart\n"}) {
        EXPECT_NE(outcome.out.find(row), std::string::npos) << row << "\nin:\n" << outcome.out;
    }
    EXPECT_EQ(namesIn(folder), kUnits);
    EXPECT_FALSE(fs::exists(home() + "/Library"));
}

void expectRowsSucceed(const test::ProcessOutcome& outcome) {
    EXPECT_EQ(outcome.exitStatus, 0) << outcome.err;
    EXPECT_EQ(outcome.err, "");
    for (const char* row :
         {"  ✓ Installing always-on service — Always-on service running (30s session polling)\n",
          "  ✓ Installing scheduled scanners — 3 scheduled scanners active\n",
          "  ✓ Verifying installation — All files verified, service running — Pellix is "
          "watching 🧠\n"}) {
        EXPECT_NE(outcome.out.find(row), std::string::npos) << row << "\nin:\n" << outcome.out;
    }
}

TEST_F(SystemdInstall, ServiceRunsWithItsThreeVariablesAndLogsToBothFiles) {
    expectRowsSucceed(install());
    EXPECT_EQ(systemctl("is-active " + kService), "active\n");
    EXPECT_EQ(systemctl("is-enabled " + kService), "enabled\n");
    const long pid = servicePid();
    ASSERT_GT(pid, 0);
    std::string environ = "\n" + test::readFile("/proc/" + std::to_string(pid) + "/environ");
    std::replace(environ.begin(), environ.end(), '\0', '\n');
    EXPECT_NE(environ.find(std::string("\nPATH=") + kChildPath + "\n"), std::string::npos)
        << environ;
    EXPECT_NE(environ.find("\nHOME=" + home() + "\n"), std::string::npos) << environ;
    EXPECT_NE(environ.find("\nOPENCLAW_HOME=" + openclawHome() + "\n"), std::string::npos)
        << environ;
    EXPECT_TRUE(eventually([&] {
        return logHolds("ops/pellix-service-stdout.log", "sample service: watching\n") &&
               logHolds("ops/pellix-service-stderr.log", "sample service: started\n");
    }));
    EXPECT_FALSE(fs::exists(home() + "/Library/LaunchAgents"));
}

TEST_F(SystemdInstall, KilledServiceIsRunningAgainWithinSeconds) {
    expectRowsSucceed(install());
    const long first = servicePid();
    ASSERT_GT(first, 0);
    ASSERT_EQ(::kill(static_cast<pid_t>(first), SIGKILL), 0);
    EXPECT_TRUE(eventually([&] {
        const long now = servicePid();
        return now > 0 && now != first && systemctl("is-active " + kService) == "active\n";
    }));
}

TEST_F(SystemdInstall, ThreeTimersActiveEnabledAtTheirIntervalsAndEachScannerRanOnce) {
    expectRowsSucceed(install());
    const std::pair<const char*, const char*> timers[] = {
        {"ai.pellix.pellix.wal.timer", "OnUnitInactiveUSec=5min"},
        {"ai.pellix.pellix.tripwire-grep.timer", "OnUnitInactiveUSec=5min"},
        {"ai.pellix.pellix.tripwire-ai.timer", "OnUnitInactiveUSec=15min"}};
    for (const auto& [timer, interval] : timers) {
        EXPECT_EQ(systemctl(std::string("is-active ") + timer), "active\n") << timer;
        EXPECT_EQ(systemctl(std::string("is-enabled ") + timer), "enabled\n") << timer;
        const std::string schedule = systemctl(std::string("show -p TimersMonotonic ") + timer);
        EXPECT_NE(schedule.find(interval), std::string::npos) << timer << ": " << schedule;
    }
    const std::pair<const char*, const char*> logs[] = {
        {"ops/wal/wal-stdout.log", "sample session-wal: nothing to do\n"},
        {"ops/wal/tripwire-grep-stdout.log", "sample tripwire-scanner: nothing to do\n"},
        {"ops/wal/tripwire-ai-stdout.log", "sample AI scanner: nothing to scan\n"}};
    EXPECT_TRUE(eventually([&] {
        return std::all_of(std::begin(logs), std::end(logs),
                           [&](const auto& log) { return logHolds(log.first, log.second); });
    }));
    // Once, not twice: the next run is minutes away.
    for (const auto& [log, line] : logs) {
        EXPECT_EQ(test::readFile(pellixDir() + "/" + log), line) << log;
    }
}

TEST_F(SystemdInstall, SecondInstallLeavesTheSameUnitsAndARunningService) {
    expectRowsSucceed(install());
    const std::string folder = home() + "/.config/systemd/user";
    std::vector<std::string> expected = kUnits;
    expected.insert(expected.end(), {"default.target.wants", "timers.target.wants"});
    std::sort(expected.begin(), expected.end());
    EXPECT_EQ(namesIn(folder), expected);
    const std::string listed = systemctl("list-unit-files --no-legend 'ai.pellix*'");

    expectRowsSucceed(install());
    EXPECT_EQ(namesIn(folder), expected);
    EXPECT_EQ(namesIn(folder + "/default.target.wants"), std::vector<std::string>{kService});
    EXPECT_EQ(namesIn(folder + "/timers.target.wants"),
              (std::vector<std::string>{"ai.pellix.pellix.tripwire-ai.timer",
                                        "ai.pellix.pellix.tripwire-grep.timer",
                                        "ai.pellix.pellix.wal.timer"}));
    EXPECT_EQ(systemctl("list-unit-files --no-legend 'ai.pellix*'"), listed);
    EXPECT_EQ(systemctl("is-active " + kService), "active\n");
    // The agent's files were replaced and its logs under ops/ kept: the restarted timer ran its
    // scanner once more, and only once, after the first run's line.
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_EQ(test::readFile(pellixDir() + "/ops/wal/wal-stdout.log"),
              "sample session-wal: nothing to do\nsample session-wal: nothing to do\n");
}

}  // namespace
}  // namespace pellix
