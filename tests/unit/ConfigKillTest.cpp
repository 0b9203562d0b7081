#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <map>
#include <random>
#include <thread>

#include "ConfigOracle.h"
#include "FileChecks.h"
#include "TestSupport.h"
#include "config/ConfigEdits.h"

namespace pellix {
namespace {

namespace fs = std::filesystem;
using Clock = std::chrono::steady_clock;

std::string folderForLargeFiles() {
    return fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path().string();
}

// The file after each of the install's two writes, worked out without touching the disk.
struct Versions {
    std::string registered;
    std::string allowed;
};
Versions versionsAfterEdits(const std::string& original) {
    std::optional<ConfigDocument> document = ConfigDocument::parse(original);
    EXPECT_NE(document, std::nullopt);
    registerAgent(*document, Choices{});
    Versions versions{document->serialize().value(), ""};
    allowPellix(*document);
    versions.allowed = document->serialize().value();
    return versions;
}

// Runs both edits in a child process, killed with SIGKILL after `delay` unless it ends first.
// Returns whether it was still running when killed.
bool runInstallKilledAfter(test::WorkerSetup& model, const std::string& config,
                           std::chrono::microseconds delay) {
    const pid_t child = ::fork();
    if (child == 0) {
        steps::registerPellixAgent(model.context(), config).runToCompletion();
        steps::addToAllowlist(model.context(), config).runToCompletion();
        ::_exit(0);
    }
    const auto deadline = Clock::now() + delay;
    int status = 0;
    while (Clock::now() < deadline) {
        if (::waitpid(child, &status, WNOHANG) == child) return false;
        std::this_thread::sleep_for(std::chrono::microseconds(100));
    }
    ::kill(child, SIGKILL);
    ::waitpid(child, &status, 0);
    return WIFSIGNALED(status);
}

TEST(ConfigKill, FileIsAlwaysOneOfTheThreeVersionsAndTheNextRunLeavesNoTemporary) {
    test::TempDir home(folderForLargeFiles());
    const std::string target = home / "real/openclaw.json";
    const std::string config = home / "openclaw.json";
    const std::string original = test::sampleConfig(1'500'000);
    test::writeFile(target, original);
    fs::permissions(target, fs::perms(0640));
    fs::create_symlink("real/openclaw.json", config);
    test::WorkerSetup model(test::testPlatform(home.path()));
    const Versions versions = versionsAfterEdits(original);

    const auto start = Clock::now();
    ASSERT_FALSE(runInstallKilledAfter(model, config, std::chrono::seconds(20)));
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(Clock::now() - start);
    ASSERT_TRUE(test::readFile(target) == versions.allowed);

    std::mt19937 random(1234);
    std::map<std::string, int> seen;
    for (int round = 0; round < 40; ++round) {
        test::writeFile(target, original);
        const std::chrono::microseconds delay(random() % whole.count());
        runInstallKilledAfter(model, config, delay);
        const std::string now = test::readFile(target);
        const char* state = now == original              ? "old"
                            : now == versions.registered ? "registered"
                            : now == versions.allowed    ? "new"
                                                         : nullptr;
        ASSERT_NE(state, nullptr) << "round " << round << ": killed after " << delay.count()
                                  << " us, the file is " << now.size() << " bytes of neither";
        ++seen[state];
        ASSERT_TRUE(fs::is_symlink(config));
        ASSERT_EQ(fs::status(target).permissions() & fs::perms::mask, fs::perms(0640));
    }
    for (const auto& [state, count] : seen) std::printf("%s: %d\n", state.c_str(), count);
    EXPECT_GE(seen.size(), 2u) << "the kills all landed in one phase of the run";

    test::writeFile(target, original);
    EXPECT_EQ(steps::registerPellixAgent(model.context(), config).runToCompletion().status,
              StepStatus::success);
    EXPECT_EQ(steps::addToAllowlist(model.context(), config).runToCompletion().status,
              StepStatus::success);
    EXPECT_EQ(test::namesIn(home / "real"), std::vector<std::string>{"openclaw.json"});
    EXPECT_EQ(test::namesIn(home / ".pellix-installer"),
              (std::vector<std::string>{"openclaw.json.backup", "openclaw.json.record"}));
}

}  // namespace
}  // namespace pellix
