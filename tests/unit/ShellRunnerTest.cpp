#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdlib>
#include <filesystem>
#include <set>
#include <sstream>

#include "TestSupport.h"
#include "process/ProcessRunner.h"

namespace pellix {
namespace {

using test::TempDir;

class ShellRunner : public ::testing::Test {
protected:
    TempDir temp;
    std::string home = temp / "home";
    Host model{test::testPlatform(home)};

    ShellResult run(const std::string& command) {
        return model.shellCommand(command).runToCompletion();
    }
};

void writeExecutable(const std::string& path, const std::string& text) {
    test::writeFile(path, text);
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
}

TEST_F(ShellRunner, BothStreamsArriveAsOneTextInWriteOrder) {
    EXPECT_EQ(run("echo one; echo two >&2; echo three; echo four >&2"),
              (ShellResult{0, "one\ntwo\nthree\nfour\n"}));
}

TEST_F(ShellRunner, StatusThreeWithNoOutputGivesThreeAndEmptyText) {
    EXPECT_EQ(run("exit 3"), (ShellResult{3, ""}));
}

TEST_F(ShellRunner, TrailingNewlineIsKept) {
    EXPECT_EQ(run("printf 'a\\n\\n'").output, "a\n\n");
}

TEST_F(ShellRunner, InstallerEnvironmentIsNotVisibleToTheChild) {
    ::setenv("OPENCLAW_HOME", "/secret/openclaw", 1);
    const ShellResult result = run("echo ${OPENCLAW_HOME-unset}");
    ::unsetenv("OPENCLAW_HOME");
    EXPECT_EQ(result, (ShellResult{0, "unset\n"}));
}

// What the shell receives, read back from the kernel: zsh adds variables of its own later. The
// trailing exit keeps zsh from replacing itself with tr, which would then read an empty file.
TEST_F(ShellRunner, ShellIsStartedWithExactlyPathAndHome) {
    ::setenv("OPENCLAW_HOME", "/secret/openclaw", 1);
    const ShellResult result = run("tr '\\0' '\\n' < /proc/$$/environ; exit");
    ::unsetenv("OPENCLAW_HOME");
    EXPECT_EQ(result.output, std::string("PATH=") + kChildPath + "\nHOME=" + home + "\n");
}

// Past the shell, a command sees PATH and HOME plus only what zsh itself sets.
TEST_F(ShellRunner, CommandSeesPathHomeAndZshsOwnVariablesOnly) {
    ::setenv("OPENCLAW_HOME", "/secret/openclaw", 1);
    const ShellResult result = run("exec /usr/bin/env");
    ::unsetenv("OPENCLAW_HOME");
    const std::set<std::string> zshOwn = {"LOGNAME", "SHLVL", "PWD", "OLDPWD", "_"};
    std::istringstream lines(result.output);
    std::set<std::string> names;
    for (std::string line; std::getline(lines, line);) {
        const std::string name = line.substr(0, line.find('='));
        names.insert(name);
        if (name == "PATH") {
            EXPECT_EQ(line, std::string("PATH=") + kChildPath);
        } else if (name == "HOME") {
            EXPECT_EQ(line, "HOME=" + home);
        } else {
            EXPECT_TRUE(zshOwn.count(name)) << line;
        }
    }
    EXPECT_TRUE(names.count("PATH"));
    EXPECT_TRUE(names.count("HOME"));
}

TEST_F(ShellRunner, ChildPrintingOneMegabyteCompletesWithWholeOutput) {
    const ShellResult result = run("head -c 1048576 /dev/zero | tr '\\0' a");
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(result.output, std::string(1048576, 'a'));
}

TEST_F(ShellRunner, ChildKilledBySignalGivesTheSignalNumber) {
    EXPECT_EQ(run("echo before; kill -9 $$"), (ShellResult{9, "before\n"}));
}

TEST_F(ShellRunner, MissingShellGivesMinusOneAndTheSystemMessage) {
    Platform platform = test::testPlatform(home);
    platform.shell = "/nonexistent/zsh";
    Host broken(platform);
    EXPECT_EQ(broken.shellCommand("echo hi").runToCompletion(),
              (ShellResult{-1, "No such file or directory"}));
}

// ls opens the listed folder itself, as descriptor 3; anything of ours would show up beside it.
TEST_F(ShellRunner, NoInstallerDescriptorReachesTheChild) {
    const int inheritable = ::open("/dev/null", O_RDONLY);
    ASSERT_GE(inheritable, 3);
    const ShellResult result = run("exec ls /dev/fd");
    ::close(inheritable);
    EXPECT_EQ(result, (ShellResult{0, "0\n1\n2\n3\n"}));
}

TEST_F(ShellRunner, ChildIsReapedSoNoZombieIsLeft) {
    run("true");
    run("exit 7");
    run("kill -9 $$");
    int status = 0;
    errno = 0;
    EXPECT_EQ(::waitpid(-1, &status, WNOHANG), -1);
    EXPECT_EQ(errno, ECHILD);
}

TEST_F(ShellRunner, OutputThatIsNotUtf8BecomesEmpty) {
    EXPECT_EQ(run("printf 'ok \\377\\376'; exit 4"), (ShellResult{4, ""}));
}

TEST_F(ShellRunner, Utf8OutputIsKeptAsIs) {
    EXPECT_EQ(run("printf '\\342\\200\\224 \\360\\237\\247\\240'").output, "— 🧠");
}

// The backgrounded sleep keeps the pipe open after the shell has gone; the call must not wait
// for it. Its pid is printed so the test can end it.
TEST_F(ShellRunner, GrandchildHoldingThePipeDoesNotHoldTheCall) {
    const auto start = std::chrono::steady_clock::now();
    const ShellResult result = run("sleep 30 & echo $!");
    const auto elapsed = std::chrono::steady_clock::now() - start;
    const pid_t grandchild = static_cast<pid_t>(std::atoi(result.output.c_str()));
    if (grandchild > 0) ::kill(grandchild, SIGTERM);
    EXPECT_EQ(result.status, 0);
    EXPECT_GT(grandchild, 0);
    EXPECT_LT(elapsed, std::chrono::seconds(10));
}

// An ignored SIGPIPE would otherwise survive exec and make `yes` complain into the output.
TEST_F(ShellRunner, ChildStartsWithDefaultSignalHandling) {
    struct sigaction previous {};
    struct sigaction ignore {};
    ignore.sa_handler = SIG_IGN;
    ::sigaction(SIGPIPE, &ignore, &previous);
    const ShellResult result = run("yes | head -1");
    ::sigaction(SIGPIPE, &previous, nullptr);
    EXPECT_EQ(result, (ShellResult{0, "y\n"}));
}

TEST_F(ShellRunner, ChildGetsHomeFromThePlatform) {
    EXPECT_EQ(run("echo \"$HOME\""), (ShellResult{0, home + "\n"}));
}

TEST_F(ShellRunner, CommandIsOneShellTextRunWithDashC) {
    EXPECT_EQ(run("set -- a 'b c'; echo $# \"$0\""), (ShellResult{0, "2 /bin/zsh\n"}));
}

TEST_F(ShellRunner, ChildRunsThroughThePlatformExecutor) {
    Platform platform = test::testPlatform(home);
    int jobs = 0;
    platform.runBlockingJob = [&jobs](std::function<void()> job, std::function<void()> resume) {
        ++jobs;
        job();
        resume();
    };
    Host counted(platform);
    EXPECT_EQ(counted.shellCommand("echo hi").runToCompletion(), (ShellResult{0, "hi\n"}));
    EXPECT_EQ(jobs, 1);
}

TEST(Utf8Validation, AcceptsAsciiDashesAndEmoji) {
    EXPECT_TRUE(isValidUtf8(""));
    EXPECT_TRUE(isValidUtf8("plain\n"));
    EXPECT_TRUE(isValidUtf8("— Pellix is watching 🧠"));
    EXPECT_TRUE(isValidUtf8(std::string("nul\0inside", 10)));
}

TEST(Utf8Validation, RejectsMalformedSequences) {
    EXPECT_FALSE(isValidUtf8("\xC0\x80"));          // overlong NUL
    EXPECT_FALSE(isValidUtf8("\xE0\x80\xAF"));      // overlong slash
    EXPECT_FALSE(isValidUtf8("\xED\xA0\x80"));      // surrogate
    EXPECT_FALSE(isValidUtf8("\xF4\x90\x80\x80"));  // past U+10FFFF
    EXPECT_FALSE(isValidUtf8("\xF0\x9F\xA7"));      // cut short
    EXPECT_FALSE(isValidUtf8("\x80"));              // stray continuation
    EXPECT_FALSE(isValidUtf8("\xE2\x80\x41"));      // bad continuation
}

class FindPython3 : public ShellRunner {
protected:
    // A stand-in shell running `script` whatever command it is given.
    Platform platformWithShell(const std::string& script) {
        Platform platform = test::testPlatform(home);
        platform.shell = temp / "fake-shell";
        writeExecutable(platform.shell, "#!/bin/sh\n" + script + "\n");
        return platform;
    }
};

TEST_F(FindPython3, PathWithLeadingBlanksAndTrailingNewlineIsTrimmed) {
    Host faked(platformWithShell("printf '  \\t/opt/py/bin/python3\\n\\n'"));
    EXPECT_EQ(faked.findPython3().runToCompletion(), "/opt/py/bin/python3");
}

TEST_F(FindPython3, UnicodeSpacesAreTrimmedToo) {
    Host faked(platformWithShell("printf '\\302\\240/opt/py/python3\\342\\200\\250'"));
    EXPECT_EQ(faked.findPython3().runToCompletion(), "/opt/py/python3");
}

TEST_F(FindPython3, NothingPrintedGivesUsrBinPython3) {
    Host faked(platformWithShell("printf ' \\n'; exit 1"));
    EXPECT_EQ(faked.findPython3().runToCompletion(), "/usr/bin/python3");
}

TEST_F(FindPython3, StatusOfWhichIsIgnored) {
    Host faked(platformWithShell("echo /opt/py/python3; exit 1"));
    EXPECT_EQ(faked.findPython3().runToCompletion(), "/opt/py/python3");
}

TEST_F(FindPython3, NotFoundMessageIsReturnedAsThePath) {
    Platform platform = test::testPlatform(home);
    platform.childPath = temp / "empty-bin";
    Host faked(platform);
    EXPECT_EQ(faked.findPython3().runToCompletion(), "python3 not found");
}

TEST_F(FindPython3, FindsTheInterpreterFirstOnTheChildPath) {
    const std::string bin = temp / "bin";
    writeExecutable(bin + "/python3", "#!/bin/sh\n");
    Host faked(test::testPlatform(home, bin));
    EXPECT_EQ(faked.findPython3().runToCompletion(), bin + "/python3");
}

TEST_F(FindPython3, ShellThatCannotStartGivesItsErrorText) {
    Platform platform = test::testPlatform(home);
    platform.shell = "/nonexistent/zsh";
    Host broken(platform);
    EXPECT_EQ(broken.findPython3().runToCompletion(), "No such file or directory");
}

}  // namespace
}  // namespace pellix
