// Root running the built executable for a real user account (--user): the install, status and
// uninstall act as that user, everything they make is the user's, and a link the user planted
// toward root's files is never written through.

#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <nlohmann/json.hpp>
#include <optional>

#include "HeadlessRun.h"
#include "TestSupport.h"
#include "TestUser.h"
#include "Unprivileged.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace pellix {
namespace {

class ActForUser : public ::testing::Test {
protected:
    void SetUp() override {
        user.emplace(root / "home");
        if (!user->available()) GTEST_SKIP() << user->unavailableReason();
        test::makeDirs(openclawHome() + "/workspace-main/agents");
        test::writeFile(openclawHome() + "/openclaw.json",
                        R"({"agents": {"list": [{"id": "main"}]}, "port": 18789})");
        fakeBin = test::installFakeCommands(user->home() + "/fakebin");
        test::leadChildPathWith(user->home(), fakeBin);
        user->own(user->home());
        copy.emplace(root / "app");
        test::openPathTo(copy->bundleDir());
    }

    std::string openclawHome() const { return user->home() + "/.openclaw"; }

    // As root, with root's own HOME: the installer must find the user's.
    test::ProcessOutcome run(std::vector<std::string> arguments) {
        arguments.insert(arguments.begin(), {"--user", user->name()});
        return test::runInstaller(copy->executable(), arguments, root / "roots-home", std::nullopt);
    }

    // Paths below the user's home that are not the user's.
    std::vector<std::string> notOwnedByUser() const {
        std::vector<std::string> found;
        std::error_code error;
        for (fs::recursive_directory_iterator it(user->home(), error), end; !error && it != end;
             it.increment(error)) {
            struct stat info {};
            if (::lstat(it->path().c_str(), &info) != 0) continue;
            if (info.st_uid != user->uid() || info.st_gid != user->gid()) {
                found.push_back(it->path().string());
            }
        }
        return found;
    }

    test::TempDir root;
    std::optional<test::TestUser> user;
    std::string fakeBin;
    std::optional<test::InstalledCopy> copy;
};

TEST_F(ActForUser, InstallStatusUninstallRunAsTheUserAndLeaveNothingOfRoot) {
    const auto installed = run({"install", "--scan", "daily", "--json"});
    ASSERT_EQ(installed.exitStatus, 0) << installed.out << installed.err;
    EXPECT_EQ(json::parse(installed.out)["phase"], "complete");
    const std::string pellixDir = openclawHome() + "/workspace-main/agents/pellix-unified";
    EXPECT_TRUE(fs::exists(pellixDir + "/ops"));
    EXPECT_TRUE(fs::exists(user->home() + "/Library/LaunchAgents"));
    EXPECT_FALSE(fs::exists(root / "roots-home")) << "nothing is made in root's home";
    EXPECT_EQ(notOwnedByUser(), std::vector<std::string>{});
    // The fakes ran as the user: launchd's domain is the user's.
    EXPECT_NE(test::readFile(fakeBin + "/calls.log")
                  .find("launchctl bootstrap gui/" + std::to_string(user->uid()) + " "),
              std::string::npos)
        << test::readFile(fakeBin + "/calls.log");

    const auto status = run({"status", "--json"});
    EXPECT_EQ(status.exitStatus, 0) << status.out << status.err;
    const json report = json::parse(status.out);
    EXPECT_EQ(report["openclawHome"], openclawHome());
    EXPECT_EQ(report["healthy"], true) << status.out;
    EXPECT_EQ(report["choices"]["scanPreset"], "daily");

    const auto removed = run({"uninstall", "--json"});
    EXPECT_EQ(removed.exitStatus, 0) << removed.out << removed.err;
    EXPECT_EQ(json::parse(removed.out)["changed"], true);
    EXPECT_FALSE(fs::exists(pellixDir));
    EXPECT_EQ(notOwnedByUser(), std::vector<std::string>{});
    EXPECT_EQ(run({"status"}).exitStatus, 3);
}

TEST_F(ActForUser, OpenClawHomeGivenWithATildeIsTheUsersOwn) {
    const std::string elsewhere = user->home() + "/other-openclaw";
    fs::rename(openclawHome(), elsewhere);
    test::RunOptions options;
    options.environment = {"OPENCLAW_HOME=~/other-openclaw"};
    const auto status =
        test::runInstaller(copy->executable(), {"--user", user->name(), "status", "--json"},
                           root / "roots-home", std::nullopt, options);
    EXPECT_EQ(status.exitStatus, 3) << status.out << status.err;
    EXPECT_EQ(json::parse(status.out)["openclawHome"], elsewhere);
}

TEST_F(ActForUser, ALinkTowardRootsFileIsNeverWrittenThrough) {
    const std::string rootsFile = root / "roots/openclaw.json";
    test::makeDirs(root / "roots");
    const std::string rootsBytes = R"({"agents": {"list": [{"id": "main"}]}, "roots": true})";
    test::writeFile(rootsFile, rootsBytes);
    ::chmod(rootsFile.c_str(), 0644);
    test::openPathTo(root / "roots");
    const fs::file_time_type before = fs::last_write_time(rootsFile);
    fs::remove(openclawHome() + "/openclaw.json");
    fs::create_symlink(rootsFile, openclawHome() + "/openclaw.json");
    ::lchown((openclawHome() + "/openclaw.json").c_str(), user->uid(), user->gid());

    const auto installed = run({"install", "--json"});
    EXPECT_NE(installed.exitStatus, 0) << installed.out << installed.err;
    EXPECT_EQ(test::readFile(rootsFile), rootsBytes);
    EXPECT_EQ(fs::last_write_time(rootsFile), before);
    EXPECT_EQ(fs::directory_iterator(root / "roots")->path().filename(), "openclaw.json");
    EXPECT_EQ(std::distance(fs::directory_iterator(root / "roots"), fs::directory_iterator()), 1)
        << "no temporary or backup beside root's file";
}

TEST_F(ActForUser, WithoutARunningUserManagerTheUnitsAreWrittenAndTheNoticeNamesTheUser) {
    fs::remove(fakeBin + "/launchctl");
    if (::access("/usr/bin/systemctl", X_OK) != 0 && ::access("/bin/systemctl", X_OK) != 0) {
        GTEST_SKIP() << "systemctl is not installed (scripts/setup installs systemd)";
    }
    const auto installed = run({"install"});
    EXPECT_EQ(installed.exitStatus, 0) << installed.out << installed.err;
    EXPECT_NE(installed.err.find("loginctl enable-linger " + user->name() + "`"), std::string::npos)
        << installed.err;
    EXPECT_TRUE(
        fs::exists(user->home() + "/.config/systemd/user/ai.pellix.pellix-service.service"));
    EXPECT_EQ(notOwnedByUser(), std::vector<std::string>{});
}

TEST(ActForUserRefused, UnknownUserIsNamedWithExitTwoAndNothingIsMade) {
    if (::geteuid() != 0) GTEST_SKIP() << "only root may act for a user";
    test::TempDir root;
    const test::InstalledCopy copy(root / "app");
    const auto outcome =
        test::runInstaller(copy.executable(), {"--user", "nobody-of-that-name", "status"},
                           root / "home", std::nullopt);
    EXPECT_EQ(outcome.exitStatus, 2);
    EXPECT_EQ(outcome.err,
              "--user: there is no user 'nobody-of-that-name' in the password database\n");
    EXPECT_FALSE(fs::exists(root / "home"));
}

TEST(ActForUserRefused, NotRootIsAUsageErrorWithTheReason) {
    test::TempDir root;
    const test::InstalledCopy copy(root / "app");
    test::openPathTo(copy.bundleDir());
    // Run by a user without root's rights: `nobody` when the tests run as root.
    const StepResult result = test::runUnprivileged([&] {
        const auto outcome = test::runInstaller(copy.executable(), {"--user", "root", "status"},
                                                "/nonexistent", std::nullopt);
        return StepResult{outcome.exitStatus == 2 ? StepStatus::success : StepStatus::failed,
                          outcome.err};
    });
    EXPECT_EQ(result.status, StepStatus::success) << result.detail;
    EXPECT_EQ(result.detail,
              "--user root needs root: only root may act for another user (leave --user out to act "
              "as yourself)\n");
}

}  // namespace
}  // namespace pellix
