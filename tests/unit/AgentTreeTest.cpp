// The agent's tree replaced by a new bundle with its ops/ carried across: what the user and the
// agent wrote survives, byte for byte, with modes, times and links; a killed run is finished by
// the next one.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "TestSupport.h"
#include "Unprivileged.h"
#include "files/AgentTree.h"

namespace fs = std::filesystem;

namespace pellix {
namespace {

using test::TempDir;

class AgentTree : public ::testing::Test {
protected:
    void SetUp() override {
        test::writeFile(bundle() + "/AGENTS.md", "new agents\n");
        test::writeFile(bundle() + "/ops/agent-watch-list.md", "# template v2\n");
        test::writeFile(pellixDir() + "/AGENTS.md", "old agents\n");
        test::writeFile(pellixDir() + "/retired.md", "only in the earlier bundle\n");
        test::writeFile(pellixDir() + "/ops/agent-watch-list.md", "- my agent\n");
        test::writeFile(pellixDir() + "/ops/memory/notes.md", "remember\n");
        ::chmod((pellixDir() + "/ops/memory/notes.md").c_str(), 0640);
        fs::create_symlink("memory/notes.md", pellixDir() + "/ops/latest");
        // An old time, to see it kept.
        const struct timespec old[2] = {{1000000000, 0}, {1000000000, 0}};
        ::utimensat(AT_FDCWD, (pellixDir() + "/ops/memory/notes.md").c_str(), old, 0);
    }

    std::string bundle() const { return root / "bundle"; }
    std::string pellixDir() const { return root / "workspace-main/agents/pellix-unified"; }

    TempDir root;
};

TEST_F(AgentTree, ReinstallKeepsOpsWithModesTimesAndLinksAndReplacesTheRest) {
    const TreeReplacement outcome = replaceAgentTree(bundle(), pellixDir());
    ASSERT_TRUE(outcome) << outcome.describe();
    EXPECT_EQ(test::readFile(pellixDir() + "/AGENTS.md"), "new agents\n");
    EXPECT_FALSE(fs::exists(pellixDir() + "/retired.md"));
    EXPECT_EQ(test::readFile(pellixDir() + "/ops/memory/notes.md"), "remember\n");
    struct stat info {};
    ASSERT_EQ(::lstat((pellixDir() + "/ops/memory/notes.md").c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 07777, 0640u);
    EXPECT_EQ(info.st_mtime, 1000000000);
    EXPECT_TRUE(fs::is_symlink(pellixDir() + "/ops/latest"));
    EXPECT_EQ(fs::read_symlink(pellixDir() + "/ops/latest"), "memory/notes.md");
    // The user's watch list stays; the bundle's new one waits beside it.
    EXPECT_EQ(test::readFile(pellixDir() + "/ops/agent-watch-list.md"), "- my agent\n");
    EXPECT_EQ(test::readFile(pellixDir() + "/ops/agent-watch-list.md.pellix-new"),
              "# template v2\n");
    EXPECT_EQ(outcome.keptBeside, std::vector<std::string>{"ops/agent-watch-list.md"});
    EXPECT_FALSE(setAsideTreeLeft(pellixDir()));
}

TEST_F(AgentTree, TheSameBytesOnBothSidesNeedNoCopyBeside) {
    test::writeFile(pellixDir() + "/ops/agent-watch-list.md", "# template v2\n");
    const TreeReplacement outcome = replaceAgentTree(bundle(), pellixDir());
    ASSERT_TRUE(outcome) << outcome.describe();
    EXPECT_TRUE(outcome.keptBeside.empty());
    EXPECT_FALSE(fs::exists(pellixDir() + "/ops/agent-watch-list.md.pellix-new"));
}

TEST_F(AgentTree, AFreshInstallIsACopyOfTheBundle) {
    fs::remove_all(pellixDir());
    ASSERT_TRUE(replaceAgentTree(bundle(), pellixDir()));
    EXPECT_EQ(test::readFile(pellixDir() + "/ops/agent-watch-list.md"), "# template v2\n");
    EXPECT_FALSE(fs::exists(pellixDir() + "/ops/agent-watch-list.md.pellix-new"));
}

TEST_F(AgentTree, ALinkInPlaceOfTheTreeIsRemovedNotFollowed) {
    const std::string elsewhere = root / "elsewhere";
    fs::rename(pellixDir(), elsewhere);
    fs::create_directory_symlink(elsewhere, pellixDir());
    ASSERT_TRUE(replaceAgentTree(bundle(), pellixDir()));
    EXPECT_FALSE(fs::is_symlink(pellixDir()));
    EXPECT_EQ(test::readFile(elsewhere + "/ops/memory/notes.md"), "remember\n");
}

TEST_F(AgentTree, KilledBetweenTheTwoRenamesTheEarlierTreeGoesBack) {
    fs::rename(pellixDir(), setAsidePath(pellixDir()));
    ASSERT_TRUE(setAsideTreeLeft(pellixDir()));
    ASSERT_TRUE(recoverSetAsideTree(pellixDir()));
    EXPECT_EQ(test::readFile(pellixDir() + "/retired.md"), "only in the earlier bundle\n");
    EXPECT_EQ(test::readFile(pellixDir() + "/ops/memory/notes.md"), "remember\n");
    EXPECT_FALSE(setAsideTreeLeft(pellixDir()));
}

TEST_F(AgentTree, KilledWhileCarryingTheNextRunFinishesTheMove) {
    // The new tree in place, one entry of ops/ carried, the rest still aside.
    const std::string aside = setAsidePath(pellixDir());
    fs::rename(pellixDir(), aside);
    fs::copy(bundle(), pellixDir(), fs::copy_options::recursive);
    fs::rename(aside + "/ops/memory", pellixDir() + "/ops/memory");
    const TreeReplacement outcome = replaceAgentTree(bundle(), pellixDir());
    ASSERT_TRUE(outcome) << outcome.describe();
    EXPECT_EQ(test::readFile(pellixDir() + "/ops/memory/notes.md"), "remember\n");
    EXPECT_EQ(test::readFile(pellixDir() + "/ops/agent-watch-list.md"), "- my agent\n");
    EXPECT_TRUE(fs::is_symlink(pellixDir() + "/ops/latest"));
    EXPECT_FALSE(setAsideTreeLeft(pellixDir()));
}

TEST_F(AgentTree, AStaleHalfCopyOfTheBundleIsReplaced) {
    const std::string incoming = root / "workspace-main/agents/.pellix-unified.incoming";
    test::writeFile(incoming + "/half.md", "half\n");
    ASSERT_TRUE(replaceAgentTree(bundle(), pellixDir()));
    EXPECT_FALSE(fs::exists(incoming));
    EXPECT_FALSE(fs::exists(pellixDir() + "/half.md"));
}

TEST_F(AgentTree, AMissingAgentsFolderFailsWithTheSystemsTextAndKeepsNothingHalfMade) {
    const std::string other = root / "workspace-other/agents/pellix-unified";
    test::makeDirs(root / "workspace-other");
    const TreeReplacement outcome = replaceAgentTree(bundle(), other);
    EXPECT_FALSE(outcome);
    EXPECT_EQ(outcome.describe(),
              std::make_error_code(std::errc::no_such_file_or_directory).message());
}

TEST_F(AgentTree, AnOpsEntryThatCannotBeReadStopsTheRunBeforeAnythingIsDeleted) {
    // The new bundle has a memory folder too, so the user's must be read to be merged.
    test::writeFile(bundle() + "/ops/memory/template.md", "template\n");
    ::chmod(root.path().c_str(), 0777);
    for (const auto& entry : fs::recursive_directory_iterator(root.path())) {
        if (entry.is_directory() && !entry.is_symlink()) ::chmod(entry.path().c_str(), 0777);
    }
    const std::string memory = pellixDir() + "/ops/memory";
    ::chmod(memory.c_str(), 0);
    if (const auto why = test::cannotRunUnprivilegedIn(root.path())) GTEST_SKIP() << *why;
    const StepResult result = test::runUnprivileged([this] {
        const TreeReplacement outcome = replaceAgentTree(bundle(), pellixDir());
        return StepResult{outcome ? StepStatus::success : StepStatus::failed, outcome.describe()};
    });
    const std::string asideMemory = setAsidePath(pellixDir()) + "/ops/memory";
    ::chmod(asideMemory.c_str(), 0755);
    ::chmod(memory.c_str(), 0755);
    EXPECT_EQ(result.status, StepStatus::failed);
    EXPECT_EQ(result.detail,
              asideMemory + ": " + std::make_error_code(std::errc::permission_denied).message());
    EXPECT_TRUE(setAsideTreeLeft(pellixDir()));
    EXPECT_EQ(test::readFile(asideMemory + "/notes.md"), "remember\n");
    // Readable again, the next run finishes the move.
    ASSERT_TRUE(replaceAgentTree(bundle(), pellixDir()));
    EXPECT_EQ(test::readFile(memory + "/notes.md"), "remember\n");
    EXPECT_EQ(test::readFile(memory + "/template.md"), "template\n");
    EXPECT_FALSE(setAsideTreeLeft(pellixDir()));
}

}  // namespace
}  // namespace pellix
