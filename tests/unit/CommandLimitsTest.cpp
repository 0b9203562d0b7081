#include <gtest/gtest.h>
#include <signal.h>
#include <unistd.h>

#include <chrono>
#include <string>
#include <vector>

#include "InstallSandbox.h"
#include "TestSupport.h"
#include "jobs/ServiceManager.h"
#include "process/ProcessRunner.h"

namespace pellix {
namespace {

using namespace std::chrono_literals;
using test::TempDir;
using Clock = std::chrono::steady_clock;

class CommandLimits : public ::testing::Test {
protected:
    TempDir temp;
    std::string home = temp / "home";
    std::vector<std::string> notices;

    Platform platform(std::chrono::milliseconds limit = 500ms) {
        Platform platform = test::testPlatform(home);
        platform.commandTimeLimit = limit;
        platform.gatewayRestartTimeLimit = 2 * limit;
        platform.notice = [this](const std::string& line) { notices.push_back(line); };
        return platform;
    }

    static double secondsSince(Clock::time_point start) {
        return std::chrono::duration<double>(Clock::now() - start).count();
    }
};

// A zombie waiting for init to reap it counts as gone.
bool processExists(pid_t pid) {
    const std::string stat = test::readFile("/proc/" + std::to_string(pid) + "/stat");
    const auto close = stat.rfind(')');
    return close != std::string::npos && stat.size() > close + 2 && stat[close + 2] != 'Z';
}

TEST_F(CommandLimits, HungCommandIsStoppedAtItsLimitAndFailsWhateverItPrinted) {
    Host model(platform());
    const auto start = Clock::now();
    const ShellResult result = model.shellCommand("echo partial; sleep 30").runToCompletion();
    EXPECT_LT(secondsSince(start), 5.0);
    EXPECT_EQ(result, (ShellResult{SIGKILL, "partial\n"}));
    EXPECT_EQ(notices,
              std::vector<std::string>{"Stopped after 500 ms without finishing: echo partial; "
                                       "sleep 30"});
}

TEST_F(CommandLimits, WholeProcessGroupIsKilledOnExpiry) {
    Host model(platform());
    const std::string pidFile = temp / "grandchild.pid";
    model.shellCommand("sleep 60 & echo $! > " + pidFile + "; wait").runToCompletion();
    const pid_t grandchild = std::stoi(test::readFile(pidFile));
    const auto start = Clock::now();
    while (processExists(grandchild) && secondsSince(start) < 5.0) ::usleep(20'000);
    EXPECT_FALSE(processExists(grandchild));
}

TEST_F(CommandLimits, GatewayRestartGetsTheLongerLimit) {
    Host model(platform(300ms));
    const ShellResult restart =
        model.runCommand("sleep 0.45; echo restarted", CommandKind::gatewayRestart)
            .runToCompletion();
    EXPECT_EQ(restart, (ShellResult{0, "restarted\n"}));
    const ShellResult ordinary = model.shellCommand("sleep 0.45; echo late").runToCompletion();
    EXPECT_EQ(ordinary.status, SIGKILL);
    EXPECT_EQ(notices, std::vector<std::string>{
                           "Stopped after 300 ms without finishing: sleep 0.45; echo late"});
}

TEST_F(CommandLimits, BackgroundHolderOfThePipeDoesNotKeepTheRunWaiting) {
    Host model(platform(60s));
    const auto start = Clock::now();
    const ShellResult result = model.shellCommand("sleep 30 & echo hi").runToCompletion();
    EXPECT_LT(secondsSince(start), 2.0);
    EXPECT_EQ(result, (ShellResult{0, "hi\n"}));
    EXPECT_TRUE(notices.empty());
}

// The gateway restart may leave a daemon behind; a child that ends in time keeps its children.
TEST_F(CommandLimits, NormallyExitedChildKeepsItsBackgroundProcesses) {
    Host model(platform(60s));
    const std::string pidFile = temp / "daemon.pid";
    const ShellResult result =
        model.shellCommand("sleep 30 >/dev/null 2>&1 & echo $! > " + pidFile).runToCompletion();
    EXPECT_EQ(result.status, 0);
    const pid_t daemon = std::stoi(test::readFile(pidFile));
    ::usleep(200'000);
    EXPECT_TRUE(processExists(daemon));
    ::kill(daemon, SIGKILL);
}

TEST_F(CommandLimits, ChildThatClosesItsOutputEarlyIsStillBounded) {
    Host model(platform(300ms));
    const auto start = Clock::now();
    const ShellResult result = model.shellCommand("exec >&- 2>&-; sleep 30").runToCompletion();
    EXPECT_LT(secondsSince(start), 5.0);
    EXPECT_EQ(result, (ShellResult{SIGKILL, ""}));
}

TEST_F(CommandLimits, MissingShellIsNamedOnceWithHowToGetIt) {
    Platform broken = platform();
    broken.shell = temp / "no-such-zsh";
    Host model(broken);
    EXPECT_EQ(model.shellCommand("true").runToCompletion(),
              (ShellResult{-1, "No such file or directory"}));
    EXPECT_EQ(model.shellCommand("true").runToCompletion().status, -1);
    EXPECT_EQ(notices, std::vector<std::string>{
                           "Cannot run " + broken.shell +
                           " (No such file or directory): the installer runs every command "
                           "through it. Install zsh (Debian and Ubuntu: sudo apt install zsh) and "
                           "run the install again."});
}

TEST_F(CommandLimits, MissingShellInAWholeInstallGivesOneNoticeAndTheUsualRows) {
    test::Sandbox sandbox;
    Platform broken = sandbox.platform();
    broken.shell = temp / "no-such-zsh";
    broken.notice = [this](const std::string& line) { notices.push_back(line); };
    InstallerViewModel model(broken);
    model.startInstall();
    ASSERT_EQ(model.phase(), InstallerPhase::complete);
    EXPECT_EQ(model.steps()[7].detail, "Service installed but may need login/restart to activate");
    EXPECT_EQ(model.steps()[9].detail, "Restart may need manual run");
    EXPECT_EQ(model.steps()[10].detail, "Files OK, service may need restart");
    ASSERT_EQ(notices.size(), 1u);
    EXPECT_TRUE(notices[0].starts_with("Cannot run " + broken.shell)) << notices[0];
}

TEST_F(CommandLimits, HungLaunchctlAndGatewayTakeTheUsualWarningPathsAndAreNamed) {
    test::Sandbox sandbox;
    test::writeFile(sandbox.fakeBin() + "/sleep-print", "30");
    test::writeFile(sandbox.fakeBin() + "/sleep-list", "30");
    test::writeFile(sandbox.fakeBin() + "/sleep-openclaw", "30");
    Platform hung = sandbox.platform();
    // Well above the reload line's own one-second pause and what a busy machine adds to the
    // commands that answer at once: only the hung ones may reach it.
    hung.commandTimeLimit = 4s;
    hung.gatewayRestartTimeLimit = 5s;
    hung.notice = [this](const std::string& line) { notices.push_back(line); };
    InstallerViewModel model(hung);
    const auto start = Clock::now();
    model.startInstall();
    EXPECT_LT(secondsSince(start), 40.0);
    ASSERT_EQ(model.phase(), InstallerPhase::complete);
    EXPECT_EQ(model.steps()[7].detail, "Service installed but may need login/restart to activate");
    EXPECT_EQ(model.steps()[8].detail, "3 scheduled scanners active");
    EXPECT_EQ(model.steps()[9].detail, "Restart may need manual run");
    EXPECT_EQ(model.steps()[10].detail, "Files OK, service may need restart");
    EXPECT_EQ(notices,
              (std::vector<std::string>{
                  "Stopped after 4 s without finishing: launchctl print "
                  "gui/$(id -u)/ai.pellix.pellix-service 2>&1 | head -1",
                  "Stopped after 5 s without finishing: openclaw gateway restart",
                  "Stopped after 4 s without finishing: launchctl list | grep pellix-service"}));
}

TEST_F(CommandLimits, OnlyServiceManagerCommandsSeeXdgRuntimeDir) {
    Platform withRuntime = platform(60s);
    withRuntime.environment = [](const std::string& name) -> std::optional<std::string> {
        if (name == "XDG_RUNTIME_DIR") return "/run/user/4242";
        return std::nullopt;
    };
    Host model(withRuntime);
    const std::string environ = "tr '\\0' '\\n' < /proc/$$/environ; exit";
    EXPECT_EQ(model.runCommand(environ, CommandKind::userManager).runToCompletion().output,
              std::string("PATH=") + kChildPath + "\nHOME=" + home +
                  "\nXDG_RUNTIME_DIR=/run/user/4242\n");
    EXPECT_EQ(model.shellCommand(environ).runToCompletion().output,
              std::string("PATH=") + kChildPath + "\nHOME=" + home + "\n");
    EXPECT_EQ(model.runCommand(environ, CommandKind::gatewayRestart).runToCompletion().output,
              std::string("PATH=") + kChildPath + "\nHOME=" + home + "\n");
}

TEST_F(CommandLimits, WithoutItsOwnXdgRuntimeDirTheUsersRunFolderIsGiven) {
    Host model(platform(60s));
    const ShellResult shown =
        model.runCommand("echo $XDG_RUNTIME_DIR", CommandKind::userManager).runToCompletion();
    EXPECT_EQ(shown.output, "/run/user/" + std::to_string(::getuid()) + "\n");
}

}  // namespace
}  // namespace pellix
