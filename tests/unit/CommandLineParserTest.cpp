// The command line's parser, its usage texts, the no-display check, the host's validate verdict
// and the JSON writer: pure functions, no process started.

#include <gtest/gtest.h>

#include <map>

#include "Cli.h"
#include "CommandLine.h"
#include "JsonOutput.h"
#include "OpenClawCommands.h"
#include "process/Utf8.h"

namespace pellix {
namespace {

CommandOptions parsed(const std::vector<std::string>& arguments) {
    auto result = parseCommandLine(arguments);
    if (auto* error = std::get_if<UsageError>(&result)) {
        ADD_FAILURE() << "usage error: " << error->message;
        return {};
    }
    return std::get<CommandOptions>(result);
}

UsageError refused(const std::vector<std::string>& arguments) {
    auto result = parseCommandLine(arguments);
    if (auto* error = std::get_if<UsageError>(&result)) return *error;
    ADD_FAILURE() << "accepted";
    return {Command::window, ""};
}

TEST(CommandLineParser, NoArgumentsIsTheWindow) {
    EXPECT_EQ(parsed({}).command, Command::window);
    EXPECT_EQ(parsed({"-psn_0_12345"}).command, Command::window);
}

TEST(CommandLineParser, EachCommandByName) {
    EXPECT_EQ(parsed({"install"}).command, Command::install);
    EXPECT_EQ(parsed({"status"}).command, Command::status);
    EXPECT_EQ(parsed({"uninstall"}).command, Command::uninstall);
    EXPECT_EQ(parsed({"restore-config"}).command, Command::restoreConfig);
}

TEST(CommandLineParser, JsonAndHelpOnEveryCommand) {
    for (const char* name : {"install", "status", "uninstall", "restore-config"}) {
        EXPECT_TRUE(parsed({name, "--json"}).json) << name;
        EXPECT_TRUE(parsed({name, "-h"}).help) << name;
        EXPECT_TRUE(parsed({name, "--help"}).help) << name;
        EXPECT_FALSE(parsed({name}).json) << name;
    }
}

TEST(CommandLineParser, PurgeOnlyOnUninstall) {
    const CommandOptions options = parsed({"uninstall", "--purge", "--json"});
    EXPECT_TRUE(options.purge);
    EXPECT_TRUE(options.json);
    const UsageError error = refused({"restore-config", "--purge"});
    EXPECT_EQ(error.command, Command::restoreConfig);
    EXPECT_EQ(error.message, "unknown option '--purge'");
}

TEST(CommandLineParser, InstallTakesScanAndModelInBothSpellings) {
    const CommandOptions options = parsed({"install", "--scan=daily", "--model", "opus"});
    EXPECT_EQ(options.scanPreset, "daily");
    EXPECT_EQ(options.modelChoice, "opus");
    EXPECT_EQ(refused({"status", "--scan", "daily"}).message, "unknown option '--scan'");
}

TEST(CommandLineParser, ConfigureTakesOnlyTheChoicesGiven) {
    const CommandOptions options = parsed({"configure", "--model=haiku", "--json"});
    EXPECT_EQ(options.command, Command::configure);
    EXPECT_TRUE(options.modelGiven);
    EXPECT_FALSE(options.scanGiven);
    EXPECT_EQ(options.modelChoice, "haiku");
    EXPECT_EQ(refused({"configure", "--scan", "hourly"}).command, Command::configure);
    EXPECT_EQ(refused({"configure", "--purge"}).message, "unknown option '--purge'");
}

TEST(CommandLineParser, DryRunIsForTheCommandsThatChangeSomething) {
    for (const char* command : {"install", "configure", "uninstall", "restore-config"}) {
        EXPECT_TRUE(parsed({command, "--dry-run"}).dryRun) << command;
        EXPECT_FALSE(parsed({command}).dryRun) << command;
    }
    EXPECT_EQ(refused({"status", "--dry-run"}).message, "unknown option '--dry-run'");
    EXPECT_EQ(refused({"install", "--dry-run=yes"}).message, "unknown option '--dry-run=yes'");
}

TEST(CommandLineParser, HeadlessAnywhereIsInstallAsBefore) {
    const CommandOptions options = parsed({"--scan", "relaxed", "--headless", "--json"});
    EXPECT_EQ(options.command, Command::install);
    EXPECT_EQ(options.scanPreset, "relaxed");
    EXPECT_TRUE(options.json);
    EXPECT_EQ(parsed({"--headless", "--version"}).command, Command::version);
    EXPECT_EQ(parsed({"--headless", "-h"}).command, Command::help);
}

TEST(CommandLineParser, ProgramHelpAndVersion) {
    EXPECT_EQ(parsed({"--help"}).command, Command::help);
    EXPECT_EQ(parsed({"-h"}).command, Command::help);
    EXPECT_EQ(parsed({"--version"}).command, Command::version);
}

TEST(CommandLineParser, AnythingElseIsAUsageErrorOfTheProgram) {
    const std::map<std::vector<std::string>, std::string> cases = {
        {{"bogus"}, "unknown command 'bogus'"},
        {{"--bogus"}, "unknown option '--bogus'"},
        {{"--json"}, "unknown option '--json'"},
        {{"--help", "status"}, "unknown command 'status'"},
        {{"Status"}, "unknown command 'Status'"},
    };
    for (const auto& [arguments, message] : cases) {
        const UsageError error = refused(arguments);
        EXPECT_EQ(error.command, Command::help) << arguments.front();
        EXPECT_EQ(error.message, message);
    }
}

TEST(CommandLineParser, StrayArgumentOfACommand) {
    const UsageError error = refused({"status", "now"});
    EXPECT_EQ(error.command, Command::status);
    EXPECT_EQ(error.message, "unexpected argument 'now'");
    EXPECT_EQ(refused({"status", "--json=yes"}).message, "unknown option '--json=yes'");
}

TEST(CommandLineParser, UsageErrorTextNamesTheCommandAndItsHelp) {
    EXPECT_EQ(usageErrorText({Command::uninstall, "unknown option '--force'"}),
              "pellix-installer uninstall: unknown option '--force'\n"
              "Usage: pellix-installer uninstall [--purge] [--dry-run] [--json]\n"
              "Try 'pellix-installer uninstall --help' for more information.\n");
}

TEST(CommandLineParser, UserBeforeOrAfterTheCommand) {
    EXPECT_EQ(parsed({"--user", "alice", "install"}).user, "alice");
    EXPECT_EQ(parsed({"--user", "alice", "install"}).command, Command::install);
    EXPECT_EQ(parsed({"--user=bob", "status", "--json"}).user, "bob");
    EXPECT_EQ(parsed({"uninstall", "--user", "carol", "--purge"}).user, "carol");
    EXPECT_TRUE(parsed({"uninstall", "--user", "carol", "--purge"}).purge);
    EXPECT_EQ(parsed({"--user", "dave", "--headless", "--scan", "daily"}).command,
              Command::install);
    EXPECT_EQ(parsed({"--user", "dave", "--headless"}).user, "dave");
    EXPECT_EQ(parsed({"status"}).user, std::nullopt);
}

TEST(CommandLineParser, UserNeedsANameAndACommand) {
    EXPECT_EQ(refused({"--user"}).message, "--user needs a user name");
    EXPECT_EQ(refused({"--user="}).message, "--user needs a user name");
    EXPECT_EQ(refused({"status", "--user"}).message, "--user needs a user name");
    const std::string windowRefused =
        "--user goes with a command (install, status, configure, uninstall or restore-config): "
        "the window always runs as the user who opens it";
    EXPECT_EQ(refused({"--user", "alice"}).message, windowRefused);
    EXPECT_EQ(refused({"--user", "alice", "--version"}).message, windowRefused);
    EXPECT_EQ(refused({"--user", "alice", "--help"}).command, Command::help);
}

TEST(CommandLineParser, EveryHelpEndsWithItsExitStatuses) {
    for (Command command : {Command::help, Command::install, Command::status, Command::uninstall,
                            Command::restoreConfig}) {
        const std::string text = helpText(command);
        EXPECT_NE(text.find("Exit status"), std::string::npos) << commandName(command);
        EXPECT_EQ(text.back(), '\n');
    }
    EXPECT_NE(helpText(Command::status).find("3 not installed"), std::string::npos);
}

std::function<std::optional<std::string>(const std::string&)> environment(
    std::map<std::string, std::string> values) {
    return [values](const std::string& name) -> std::optional<std::string> {
        const auto found = values.find(name);
        if (found == values.end()) return std::nullopt;
        return found->second;
    };
}

TEST(NoDisplay, WithoutDisplayOrWaylandOrPlatformTheWindowIsRefused) {
#if defined(__APPLE__)
    GTEST_SKIP() << "macOS always has its window server";
#else
    EXPECT_EQ(noDisplayMessage(environment({})),
              "pellix-installer: no display to open the installer window on (DISPLAY and "
              "WAYLAND_DISPLAY are not set); to install from the terminal, run: "
              "pellix-installer install");
    EXPECT_TRUE(noDisplayMessage(environment({{"DISPLAY", ""}})).has_value());
    EXPECT_FALSE(noDisplayMessage(environment({{"DISPLAY", ":0"}})).has_value());
    EXPECT_FALSE(noDisplayMessage(environment({{"WAYLAND_DISPLAY", "wayland-0"}})).has_value());
    EXPECT_FALSE(noDisplayMessage(environment({{"QT_QPA_PLATFORM", "offscreen"}})).has_value());
#endif
}

TEST(ConfigValidationVerdict, FromTheHostsAnswer) {
    const auto judged = [](std::int32_t status, const std::string& output) {
        const HostVerdict verdict = judgeValidation({status, output});
        return std::string(toString(verdict.kind)) + "|" + verdict.reason;
    };
    EXPECT_EQ(judged(0, "Config valid."), "valid|");
    EXPECT_EQ(judged(127, "zsh:1: command not found: openclaw"),
              "not checked|zsh:1: command not found: openclaw");
    EXPECT_EQ(judged(1, "error: Unknown command 'config'\nusage"),
              "not checked|error: Unknown command 'config'");
    EXPECT_EQ(judged(-1, "No such file or directory"), "not checked|No such file or directory");
    EXPECT_EQ(judged(1, "\n  agents.list: bad entry  \nsecond line"),
              "invalid|agents.list: bad entry  ");
    EXPECT_EQ(judged(2, ""), "invalid|exit status 2");
}

TEST(JsonOutput, KeysInWrittenOrderTwoSpaceIndentAndFinalLineFeed) {
    JsonOutput json;
    json.beginObject();
    json.key("b").integer(1);
    json.key("a").text("x/y");
    json.key("c").beginArray().boolean(true).null().endArray();
    json.key("d").number(1.0);
    json.key("e").beginArray().endArray();
    json.endObject();
    EXPECT_EQ(json.str(),
              "{\n  \"b\": 1,\n  \"a\": \"x/y\",\n  \"c\": [\n    true,\n    null\n  ],\n"
              "  \"d\": 1.0,\n  \"e\": []\n}\n");
}

TEST(Utf8, InvalidBytesBecomeTheReplacementCharacter) {
    EXPECT_EQ(toValidUtf8("a\xff"
                          "b"),
              "a\xEF\xBF\xBD"
              "b");
    EXPECT_EQ(toValidUtf8("🧠 — ok"), "🧠 — ok");
    EXPECT_EQ(toValidUtf8("\xC0\xAF"), "\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(toValidUtf8("\xED\xA0\x80"), "\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD");
    EXPECT_EQ(toValidUtf8("end\xE2\x82"), "end\xEF\xBF\xBD\xEF\xBF\xBD");
    JsonOutput json;
    json.text("\xff");
    EXPECT_EQ(json.str(), "\"\xEF\xBF\xBD\"\n");
}

}  // namespace
}  // namespace pellix
