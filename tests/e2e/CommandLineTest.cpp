// The command line's own contract through the built binary: help, version, usage errors and the
// window's refusal without a display.

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

TEST_F(CommandLine, HelpListsTheCommandsAndExitCodesAndExitsZero) {
    const auto outcome = run({"--help"});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_TRUE(outcome.out.starts_with("Usage: pellix-installer [COMMAND] [OPTIONS]\n"));
    for (const char* text :
         {"  install          ", "  status           ", "  uninstall        ",
          "  restore-config   ", "  --headless       ", "  3  status: not installed\n"}) {
        EXPECT_NE(outcome.out.find(text), std::string::npos) << text;
    }
    EXPECT_EQ(outcome.err, "");
}

TEST_F(CommandLine, EachCommandHasItsOwnHelp) {
    const std::pair<const char*, const char*> commands[] = {
        {"install",
         "Usage: pellix-installer install [--scan PRESET] [--model MODEL] [--dry-run] [--json]\n"},
        {"status", "Usage: pellix-installer status [--json]\n"},
        {"configure",
         "Usage: pellix-installer configure [--scan PRESET] [--model MODEL] "
         "[--dry-run] [--json]\n"},
        {"uninstall", "Usage: pellix-installer uninstall [--purge] [--dry-run] [--json]\n"},
        {"restore-config", "Usage: pellix-installer restore-config [--dry-run] [--json]\n"}};
    for (const auto& [command, synopsis] : commands) {
        for (const char* flag : {"--help", "-h"}) {
            const auto outcome = run({command, flag});
            EXPECT_EQ(outcome.exitStatus, 0) << command << ' ' << flag;
            EXPECT_TRUE(outcome.out.starts_with(synopsis)) << outcome.out;
            EXPECT_EQ(outcome.err, "");
        }
    }
}

TEST_F(CommandLine, HeadlessHelpIsTheProgramsHelp) {
    const auto outcome = run({"--headless", "--help"});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_TRUE(outcome.out.starts_with("Usage: pellix-installer [COMMAND] [OPTIONS]\n"));
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
              "Usage: pellix-installer [COMMAND] [OPTIONS]\n"
              "Try 'pellix-installer --help' for more information.\n");
}

TEST_F(CommandLine, UnknownCommandIsAUsageErrorNeverTheWindow) {
    const auto outcome = run({"bogus"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "pellix-installer: unknown command 'bogus'\n"
              "Usage: pellix-installer [COMMAND] [OPTIONS]\n"
              "Try 'pellix-installer --help' for more information.\n");
}

TEST_F(CommandLine, UnknownOptionWithoutACommandIsAUsageErrorNeverTheWindow) {
    const auto outcome = run({"--bogus"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(outcome.err.starts_with("pellix-installer: unknown option '--bogus'\n"));
}

TEST_F(CommandLine, UnknownOptionOfACommandPointsToThatCommandsHelp) {
    const auto outcome = run({"status", "--purge"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "pellix-installer status: unknown option '--purge'\n"
              "Usage: pellix-installer status [--json]\n"
              "Try 'pellix-installer status --help' for more information.\n");
}

TEST_F(CommandLine, UsageErrorWithJsonPrintsNothingOnStandardOutput) {
    const auto outcome = run({"uninstall", "--json", "extra"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_EQ(outcome.out, "");
    EXPECT_TRUE(
        outcome.err.starts_with("pellix-installer uninstall: unexpected argument 'extra'\n"));
}

TEST_F(CommandLine, UnknownScanPresetNamesTheAcceptedValues) {
    const auto outcome = run({"--headless", "--scan", "weekly"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_TRUE(outcome.err.starts_with(
        "pellix-installer: --scan accepts vigilant, standard, relaxed or daily (got 'weekly')\n"));
}

TEST_F(CommandLine, UnknownModelNamesTheAcceptedValues) {
    const auto outcome = run({"install", "--model=gpt"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_TRUE(outcome.err.starts_with(
        "pellix-installer install: --model accepts haiku, sonnet or opus (got 'gpt')\n"));
}

TEST_F(CommandLine, OptionWithoutItsValueIsAUsageError) {
    const auto outcome = run({"--headless", "--model"});
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_TRUE(outcome.err.starts_with(
        "pellix-installer: --model needs a value: haiku, sonnet or opus\n"));
}

TEST_F(CommandLine, FailedInstallExitsOneAndExplainsOnStandardError) {
    for (const char* form : {"--headless", "install"}) {
        const auto outcome = run({form});
        EXPECT_EQ(outcome.exitStatus, 1) << form;
        EXPECT_NE(outcome.out.find("  ✗ Checking OpenClaw installation — OpenClaw not found at " +
                                   (home / "absent")),
                  std::string::npos);
        EXPECT_EQ(outcome.err,
                  "Installation failed: OpenClaw must be installed first. Visit "
                  "docs.openclaw.ai for setup instructions.\n");
    }
}

}  // namespace
}  // namespace pellix
