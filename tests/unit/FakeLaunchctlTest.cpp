#include <gtest/gtest.h>
#include <unistd.h>

#include <chrono>

#include "TestSupport.h"

namespace pellix {
namespace {

using test::TempDir;

// The fake commands must answer as macOS does, or the installer's tests would prove nothing.
class FakeLaunchctl : public ::testing::Test {
protected:
    TempDir temp;
    std::string fakeBin = test::installFakeCommands(temp / "bin");
    std::string uid = std::to_string(::getuid());
    std::string label = "ai.pellix.pellix-service";
    std::string plist = temp / "job.plist";
    Host model{test::testPlatform(temp / "home", fakeBin)};

    void SetUp() override {
        test::writeFile(
            plist, "<plist version=\"1.0\">\n<dict>\n    <key>Label</key>\n    <string>" + label +
                       "</string>\n</dict>\n</plist>");
    }
    ShellResult sh(const std::string& command) {
        return model.shellCommand(command).runToCompletion();
    }
    // Standard error only, the way a caller that keeps stdout apart would see it.
    ShellResult errorsOf(const std::string& command) { return sh(command + " 2>&1 >/dev/null"); }
    void control(const std::string& name, const std::string& content = "") {
        test::writeFile(fakeBin + "/" + name, content);
    }
    std::string bootstrap() { return "launchctl bootstrap gui/" + uid + " " + plist; }
    std::string bootout() { return "launchctl bootout gui/" + uid + " " + plist; }
    std::string print() { return "launchctl print gui/" + uid + "/" + label; }
};

TEST_F(FakeLaunchctl, PrintOfJobNotLoadedExits113WithCouldNotFindService) {
    EXPECT_EQ(sh(print() + " 2>/dev/null"), (ShellResult{113, ""}));
    EXPECT_EQ(errorsOf(print()),
              (ShellResult{113, "Could not find service \"" + label +
                                    "\" in domain for user gui: " + uid + "\n"}));
}

TEST_F(FakeLaunchctl, PrintCanPutBadRequestFirst) {
    control("bad-request");
    EXPECT_EQ(sh(print() + " 2>&1 | head -1"), (ShellResult{0, "Bad request.\n"}));
}

TEST_F(FakeLaunchctl, BootstrapMakesTheJobVisibleToPrint) {
    EXPECT_EQ(sh(bootstrap()), (ShellResult{0, ""}));
    const ShellResult described = sh(print());
    EXPECT_EQ(described.status, 0);
    EXPECT_TRUE(described.output.starts_with("gui/" + uid + "/" + label + " = {\n"));
    EXPECT_NE(described.output.find("\tstate = running\n\tpid = "), std::string::npos);
    EXPECT_TRUE(described.output.ends_with("\n}\n"));
}

TEST_F(FakeLaunchctl, BootstrapTwiceFailsWithInputOutputError) {
    EXPECT_EQ(sh(bootstrap()), (ShellResult{0, ""}));
    EXPECT_EQ(errorsOf(bootstrap()), (ShellResult{5, "Bootstrap failed: 5: Input/output error\n"}));
}

TEST_F(FakeLaunchctl, BootstrapOfUnreadablePlistFailsWithInputOutputError) {
    EXPECT_EQ(errorsOf("launchctl bootstrap gui/" + uid + " " + temp / "missing.plist"),
              (ShellResult{5, "Bootstrap failed: 5: Input/output error\n"}));
}

TEST_F(FakeLaunchctl, BootoutOfJobNotLoadedExitsThree) {
    EXPECT_EQ(errorsOf(bootout()), (ShellResult{3, "Boot-out failed: 3: No such process\n"}));
}

TEST_F(FakeLaunchctl, BootoutRemovesTheJobByPathOrByServiceTarget) {
    sh(bootstrap());
    EXPECT_EQ(sh(bootout()), (ShellResult{0, ""}));
    EXPECT_EQ(sh(print() + " 2>/dev/null").status, 113);
    sh(bootstrap());
    EXPECT_EQ(sh("launchctl bootout gui/" + uid + "/" + label), (ShellResult{0, ""}));
    EXPECT_EQ(sh(print() + " 2>/dev/null").status, 113);
}

TEST_F(FakeLaunchctl, ListShowsHeaderAndOneRowPerLoadedJob) {
    sh(bootstrap());
    const ShellResult listing = sh("launchctl list");
    EXPECT_EQ(listing.status, 0);
    EXPECT_TRUE(listing.output.starts_with("PID\tStatus\tLabel\n"));
    EXPECT_TRUE(listing.output.ends_with("-\t0\t" + label + "\n"));
}

TEST_F(FakeLaunchctl, ListOfOneLabelGivesItsDictionaryOrNotFound) {
    EXPECT_EQ(errorsOf("launchctl list " + label),
              (ShellResult{113, "Could not find service \"" + label + "\" in domain for port\n"}));
    sh(bootstrap());
    const ShellResult entry = sh("launchctl list " + label);
    EXPECT_EQ(entry.status, 0);
    EXPECT_NE(entry.output.find("\t\"Label\" = \"" + label + "\";\n"), std::string::npos);
    EXPECT_TRUE(entry.output.starts_with("{\n"));
    EXPECT_TRUE(entry.output.ends_with("};\n"));
}

TEST_F(FakeLaunchctl, LegacyLoadAndUnloadAreSilentOnSuccessAndComplainOtherwise) {
    EXPECT_EQ(sh("launchctl load " + plist), (ShellResult{0, ""}));
    EXPECT_EQ(errorsOf("launchctl load " + plist),
              (ShellResult{5, "Load failed: 5: Input/output error\n"}));
    EXPECT_EQ(sh("launchctl unload " + plist), (ShellResult{0, ""}));
    const ShellResult second = errorsOf("launchctl unload " + plist);
    EXPECT_NE(second.status, 0);
    EXPECT_NE(second.output, "");
}

TEST_F(FakeLaunchctl, FailControlMakesASubcommandFailAsLaunchdWould) {
    control("fail-bootstrap");
    EXPECT_EQ(errorsOf(bootstrap()), (ShellResult{5, "Bootstrap failed: 5: Input/output error\n"}));
    EXPECT_EQ(sh(print() + " 2>/dev/null").status, 113);
}

TEST_F(FakeLaunchctl, SilentControlKeepsTheEffectButPrintsNothing) {
    sh(bootstrap());
    control("silent-print");
    EXPECT_EQ(sh(print() + " 2>&1"), (ShellResult{0, ""}));
}

TEST_F(FakeLaunchctl, FloodControlPrintsMoreThanAPipeHolds) {
    control("flood-list");
    const ShellResult listing = sh("launchctl list");
    EXPECT_EQ(listing.status, 0);
    EXPECT_GT(listing.output.size(), 1000000u);
    EXPECT_TRUE(listing.output.starts_with("PID\tStatus\tLabel\n"));
}

TEST_F(FakeLaunchctl, SleepControlDelaysTheAnswer) {
    control("sleep-list", "1");
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(sh("launchctl list >/dev/null"), (ShellResult{0, ""}));
    EXPECT_GE(std::chrono::steady_clock::now() - start, std::chrono::seconds(1));
}

TEST_F(FakeLaunchctl, EveryInvocationIsLoggedWithItsArguments) {
    sh(bootstrap() + "; launchctl list >/dev/null; " + print() + " >/dev/null");
    EXPECT_EQ(test::readFile(fakeBin + "/calls.log"),
              bootstrap() + "\nlaunchctl list\n" + print() + "\n");
}

TEST(FakeOpenclaw, GatewayRestartSucceedsAndIsLogged) {
    TempDir temp;
    const std::string fakeBin = test::installFakeCommands(temp / "bin");
    Host model(test::testPlatform(temp / "home", fakeBin));
    EXPECT_EQ(model.shellCommand("openclaw gateway restart >/dev/null").runToCompletion(),
              (ShellResult{0, ""}));
    EXPECT_EQ(test::readFile(fakeBin + "/calls.log"), "openclaw gateway restart\n");
}

TEST(FakeOpenclaw, FailControlMakesTheRestartExitOne) {
    TempDir temp;
    const std::string fakeBin = test::installFakeCommands(temp / "bin");
    test::writeFile(fakeBin + "/fail-openclaw", "");
    Host model(test::testPlatform(temp / "home", fakeBin));
    EXPECT_EQ(model.shellCommand("openclaw gateway restart").runToCompletion().status, 1);
}

}  // namespace
}  // namespace pellix
