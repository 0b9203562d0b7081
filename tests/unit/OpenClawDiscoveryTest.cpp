#include <gtest/gtest.h>

#include <filesystem>

#include "TestSupport.h"

namespace fs = std::filesystem;

namespace pellix {
namespace {

using test::TempDir;
using test::testPlatform;

TEST(OpenClawDiscovery, DefaultsToDotOpenclawInTheHomeDirectory) {
    TempDir home;
    InstallerViewModel model(testPlatform(home.path()));
    EXPECT_EQ(model.openclawHome(), home.path() + "/.openclaw");
    EXPECT_EQ(model.configFile(), home.path() + "/.openclaw/openclaw.json");
    EXPECT_FALSE(model.openclawExists());
    test::makeDirs(home / ".openclaw");
    EXPECT_TRUE(model.openclawExists());
}

TEST(OpenClawDiscovery, EmptyOpenclawHomeIsUsedAsItIs) {
    TempDir home;
    test::makeDirs(home / ".openclaw");
    InstallerViewModel model(testPlatform(home.path(), "", std::string()));
    EXPECT_EQ(model.openclawHome(), "");
    EXPECT_EQ(model.configFile(), "/openclaw.json");
    EXPECT_FALSE(model.openclawExists());
    EXPECT_EQ(model.workspace(), std::nullopt);
}

TEST(OpenClawDiscovery, TrailingSlashGivesADoubleSlashThatStillWorks) {
    TempDir home;
    test::makeDirs(home / "oc/workspace-a");
    InstallerViewModel model(testPlatform(home.path(), "", home.path() + "/oc/"));
    EXPECT_EQ(model.configFile(), home.path() + "/oc//openclaw.json");
    EXPECT_EQ(model.workspace(), home.path() + "/oc//workspace-a");
    EXPECT_TRUE(model.openclawExists());
}

TEST(OpenClawDiscovery, ARegularFileCountsAsAnExistingHome) {
    TempDir home;
    test::writeFile(home / "oc", "not a folder");
    InstallerViewModel model(testPlatform(home.path(), "", home / "oc"));
    EXPECT_TRUE(model.openclawExists());
    EXPECT_EQ(model.workspace(), std::nullopt);
}

TEST(OpenClawDiscovery, WorkspaceHoldingTheAgentWinsOverListingOrder) {
    TempDir home;
    const std::string oc = home / "oc";
    test::makeDirs(oc + "/workspace-a");
    test::makeDirs(oc + "/workspace-b");
    std::vector<std::string> listed;
    for (const auto& entry : fs::directory_iterator(oc)) listed.push_back(entry.path().filename());
    ASSERT_EQ(listed.size(), 2u);
    test::makeDirs(oc + "/" + listed[1] + "/agents/pellix-unified");

    InstallerViewModel model(testPlatform(home.path(), "", oc));
    EXPECT_EQ(model.workspace(), oc + "/" + listed[1]);
}

TEST(OpenClawDiscovery, WithoutAnEarlierInstallTheFirstListedWorkspaceIsChosen) {
    TempDir home;
    const std::string oc = home / "oc";
    test::makeDirs(oc + "/workspace-a");
    test::makeDirs(oc + "/workspace-b");
    const std::string first = fs::directory_iterator(oc)->path().filename();
    InstallerViewModel model(testPlatform(home.path(), "", oc));
    EXPECT_EQ(model.workspace(), oc + "/" + first);
}

TEST(OpenClawDiscovery, OnlyQualifyingNameBeingARegularFileGivesNoWorkspace) {
    TempDir home;
    test::writeFile(home / "oc/workspace-main", "");
    InstallerViewModel model(testPlatform(home.path(), "", home / "oc"));
    EXPECT_EQ(model.workspace(), std::nullopt);
}

TEST(OpenClawDiscovery, FolderNamedJustWorkspaceOrCapitalisedDoesNotQualify) {
    TempDir home;
    test::makeDirs(home / "oc/workspace");
    test::makeDirs(home / "oc/Workspace-main");
    InstallerViewModel model(testPlatform(home.path(), "", home / "oc"));
    EXPECT_EQ(model.workspace(), std::nullopt);
}

TEST(OpenClawDiscovery, SymbolicLinkToAFolderCountsAsAWorkspace) {
    TempDir home;
    test::makeDirs(home / "elsewhere");
    test::makeDirs(home / "oc");
    fs::create_directory_symlink(home / "elsewhere", home / "oc/workspace-linked");
    InstallerViewModel model(testPlatform(home.path(), "", home / "oc"));
    EXPECT_EQ(model.workspace(), home / "oc/workspace-linked");
}

TEST(OpenClawDiscovery, IsEvaluatedAfreshOnEveryCall) {
    TempDir home;
    InstallerViewModel model(testPlatform(home.path(), "", home / "oc"));
    EXPECT_FALSE(model.openclawExists());
    EXPECT_EQ(model.workspace(), std::nullopt);
    test::makeDirs(home / "oc/workspace-new");
    EXPECT_TRUE(model.openclawExists());
    EXPECT_EQ(model.workspace(), home / "oc/workspace-new");
}

}  // namespace
}  // namespace pellix
