#include "files/HomeLock.h"

#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include "TestSupport.h"

namespace pellix {
namespace {

using test::TempDir;

TEST(HomeLock, SecondLockOnTheSameHomeIsBusyUntilTheFirstIsGone) {
    TempDir home;
    std::optional<HomeLock> first;
    ASSERT_EQ(HomeLock::tryAcquire(home.path(), first), HomeLock::Outcome::acquired);
    std::optional<HomeLock> second;
    EXPECT_EQ(HomeLock::tryAcquire(home.path(), second), HomeLock::Outcome::busy);
    EXPECT_FALSE(second.has_value());
    first.reset();
    EXPECT_EQ(HomeLock::tryAcquire(home.path(), second), HomeLock::Outcome::acquired);
}

TEST(HomeLock, OtherHomesAreIndependent) {
    TempDir one;
    TempDir two;
    std::optional<HomeLock> a;
    std::optional<HomeLock> b;
    EXPECT_EQ(HomeLock::tryAcquire(one.path(), a), HomeLock::Outcome::acquired);
    EXPECT_EQ(HomeLock::tryAcquire(two.path(), b), HomeLock::Outcome::acquired);
}

TEST(HomeLock, AnotherProcessSeesTheLockAsBusy) {
    TempDir home;
    std::optional<HomeLock> held;
    ASSERT_EQ(HomeLock::tryAcquire(home.path(), held), HomeLock::Outcome::acquired);
    const pid_t child = ::fork();
    ASSERT_GE(child, 0);
    if (child == 0) {
        std::optional<HomeLock> mine;
        ::_exit(HomeLock::tryAcquire(home.path(), mine) == HomeLock::Outcome::busy ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(::waitpid(child, &status, 0), child);
    EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
}

TEST(HomeLock, MissingHomeIsUnavailableNotBusy) {
    TempDir root;
    std::optional<HomeLock> lock;
    EXPECT_EQ(HomeLock::tryAcquire(root / "missing", lock), HomeLock::Outcome::unavailable);
    EXPECT_FALSE(lock.has_value());
}

TEST(HomeLock, MovedLockStillHolds) {
    TempDir home;
    std::optional<HomeLock> first;
    ASSERT_EQ(HomeLock::tryAcquire(home.path(), first), HomeLock::Outcome::acquired);
    HomeLock moved = std::move(*first);
    first.reset();
    std::optional<HomeLock> second;
    EXPECT_EQ(HomeLock::tryAcquire(home.path(), second), HomeLock::Outcome::busy);
}

}  // namespace
}  // namespace pellix
