// Every command's JSON says whether the run changed anything, and an install over a registered
// home names the choices it kept and the command that changes them.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "Cli.h"
#include "InProcessCommands.h"
#include "TestSupport.h"

using nlohmann::json;

namespace pellix {
namespace {

using ChangedFlag = test::InProcessCommands;

TEST_F(ChangedFlag, InstallChangesAHomeAndNothingWhereThereIsNoOpenClaw) {
    EXPECT_EQ(runJson({"install"})["changed"], true);
    test::Sandbox empty(false);
    std::ostringstream jsonOut, jsonErr;
    EXPECT_EQ(runCommandLine({"install", "--json"}, empty.platform(), {jsonOut, jsonErr}), 1);
    EXPECT_EQ(json::parse(jsonOut.str())["changed"], false);
}

TEST_F(ChangedFlag, StatusNeverChangesAnything) {
    EXPECT_EQ(runJson({"status"})["changed"], false);
    install();
    EXPECT_EQ(runJson({"status"})["changed"], false);
}

TEST_F(ChangedFlag, UninstallChangesOnlyWhatWasInstalled) {
    EXPECT_EQ(runJson({"uninstall"})["changed"], false);
    install();
    EXPECT_EQ(runJson({"uninstall"})["changed"], true);
    EXPECT_EQ(runJson({"uninstall"})["changed"], false);
}

TEST_F(ChangedFlag, RestoreConfigChangesOnlyWithABackup) {
    EXPECT_EQ(runJson({"restore-config"})["changed"], false);
    install();
    EXPECT_EQ(runJson({"restore-config"})["changed"], true);
}

TEST_F(ChangedFlag, InstallOverOtherChoicesKeepsThemAndNamesTheCommandThatChangesThem) {
    install();
    EXPECT_EQ(run({"install", "--scan", "daily", "--model", "opus"}), 0) << err.str();
    EXPECT_NE(out.str().find("Registering Pellix in openclaw.json — Already registered\n"),
              std::string::npos)
        << out.str();
    EXPECT_NE(out.str().find("Pellix was registered already and keeps its choices: scan "
                             "standard, model sonnet. To change them, run: pellix-installer "
                             "configure --scan daily --model opus\n"),
              std::string::npos)
        << out.str();
    const json result = runJson({"install", "--scan", "relaxed"});
    EXPECT_EQ(result["choicesKept"],
              json({{"scanPreset", "standard"},
                    {"modelChoice", "sonnet"},
                    {"command", "pellix-installer configure --scan relaxed --model sonnet"}}));
    EXPECT_EQ(runJson({"install"})["choicesKept"], nullptr);
}

}  // namespace
}  // namespace pellix
