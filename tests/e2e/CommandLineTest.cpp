// The terminal mode's own contract: options, help, version and usage errors.

#include <gtest/gtest.h>

#include "HeadlessRun.h"
#include "TestSupport.h"

namespace pellix {
namespace {

class CommandLine : public ::testing::Test {
protected:
    test::ProcessOutcome run(const std::vector<std::string>& arguments) {
        return test::runInstaller(PELLIX_INSTALLER_EXE, arguments, home.path(), home / "absent");
    }
    test::TempDir home;
};

TEST_F(CommandLine, HelpListsTheOptionsAndExitsZero) {
    const auto outcome = run({"--help"});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_TRUE(outcome.out.starts_with("Usage: pellix-installer [--headless"));
    EXPECT_NE(outcome.out.find("--scan PRESET"), std::string::npos);
    EXPECT_NE(outcome.out.find("vigilant, standard, relaxed or daily"), std::string::npos);
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CommandLine, VersionPrintsOneLine) {
    const auto outcome = run({"--version"});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_TRUE(outcome.out.starts_with("pellix-installer "));
    EXPECT_EQ(outcome.out.back(), '\n');
}

TEST_F(CommandLine, UnknownOptionIsAUsageError) {
    const auto outcome = run({"--headless", "--frobnicate"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "pellix-installer: unknown option '--frobnicate'\n"
              "Try 'pellix-installer --help' for more information.\n");
}

TEST_F(CommandLine, UnknownScanPresetNamesTheAcceptedValues) {
    const auto outcome = run({"--headless", "--scan", "weekly"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_TRUE(outcome.err.starts_with(
        "pellix-installer: --scan accepts vigilant, standard, relaxed or daily (got 'weekly')\n"));
}

TEST_F(CommandLine, UnknownModelNamesTheAcceptedValues) {
    const auto outcome = run({"--headless", "--model=gpt"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_TRUE(outcome.err.starts_with(
        "pellix-installer: --model accepts haiku, sonnet or opus (got 'gpt')\n"));
}

TEST_F(CommandLine, OptionWithoutItsValueIsAUsageError) {
    const auto outcome = run({"--headless", "--model"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_TRUE(outcome.err.starts_with(
        "pellix-installer: --model needs a value: haiku, sonnet or opus\n"));
}

TEST_F(CommandLine, FailedInstallExitsOneAndExplainsOnStandardError) {
    const auto outcome = run({"--headless"});
    EXPECT_EQ(outcome.exitStatus, 1);
    EXPECT_NE(outcome.out.find("  ✗ Checking OpenClaw installation — OpenClaw not found at " +
                               (home / "absent")),
              std::string::npos);
    EXPECT_EQ(outcome.err,
              "Installation failed: OpenClaw must be installed first. Visit "
              "docs.openclaw.ai for setup instructions.\n");
}

}  // namespace
}  // namespace pellix
