#include "config/ConfigTransaction.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <random>
#include <thread>

#include "ConfigOracle.h"
#include "FileChecks.h"
#include "TestSupport.h"
#include "config/ConfigEdits.h"
#include "config/OpenClawConfig.h"

namespace pellix {
namespace {

namespace fs = std::filesystem;
using test::namesIn;
using test::readFile;

class ConfigFile : public ::testing::Test {
protected:
    void installBoth() {
        EXPECT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion().status,
                  StepStatus::success);
        EXPECT_EQ(steps::addToAllowlist(model_.context(), config_).runToCompletion().status,
                  StepStatus::success);
    }

    test::TempDir home_;
    std::string config_ = home_ / "openclaw.json";
    test::WorkerSetup model_{test::testPlatform(home_.path())};
};

TEST_F(ConfigFile, NextSuccessfulWriteRemovesStaleTemporariesAndKeepsOthers) {
    test::writeFile(config_, R"({"agents":{"list":[{"id":"main"}]}})");
    for (const char* name :
         {".openclaw.json.Ab12Cd", ".openclaw.json.zzzzzz", ".openclaw.json.bak",
          ".openclaw.json.Ab12Cde", "openclaw.json.Ab12Cd", ".other.json.Ab12Cd"}) {
        test::writeFile(home_ / name, "half a write");
    }
    // A live writer holds its temporary file locked: that one stays.
    const std::string held = home_ / ".openclaw.json.Held01";
    test::writeFile(held, "in progress");
    const int fd = ::open(held.c_str(), O_RDONLY | O_CLOEXEC);
    ASSERT_GE(fd, 0);
    ASSERT_EQ(::flock(fd, LOCK_EX), 0);
    installBoth();
    ::close(fd);
    EXPECT_EQ(
        namesIn(home_.path()),
        (std::vector<std::string>{".openclaw.json.Ab12Cde", ".openclaw.json.Held01",
                                  ".openclaw.json.bak", ".other.json.Ab12Cd", ".pellix-installer",
                                  "openclaw.json", "openclaw.json.Ab12Cd"}));
}

TEST_F(ConfigFile, NothingToWriteLeavesTemporariesForTheNextWrite) {
    test::writeFile(config_, R"({"agents":{"list":[{"name":"pellix"}]}})");
    test::writeFile(home_ / ".openclaw.json.Ab12Cd", "half a write");
    EXPECT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion(),
              (StepResult{StepStatus::success, "Already registered"}));
    EXPECT_EQ(namesIn(home_.path()),
              (std::vector<std::string>{".openclaw.json.Ab12Cd", "openclaw.json"}));
}

// Large files live in memory where the system offers a memory file system: these tests are about
// sizes, and flushing hundreds of megabytes to a shared disk would only make them slow.
std::string largeFileFolder() {
    return fs::is_directory("/dev/shm") ? "/dev/shm" : fs::temp_directory_path().string();
}

TEST(LargeConfigFile, ThirtyMegabytesAreRegisteredAllowedReadAgainAndPutBack) {
    test::TempDir home(largeFileFolder());
    const std::string config = home / "openclaw.json";
    test::WorkerSetup model(test::testPlatform(home.path()));
    const std::string original = test::sampleConfig(30'000'000);
    test::writeFile(config, original);
    EXPECT_EQ(steps::registerPellixAgent(model.context(), config).runToCompletion(),
              (StepResult{StepStatus::success, "Registered with sonnet model, 15m scan"}));
    EXPECT_EQ(steps::addToAllowlist(model.context(), config).runToCompletion(),
              (StepResult{StepStatus::success, "Added to main agent's spawn allowlist"}));
    EXPECT_GT(fs::file_size(config), 32u * 1024 * 1024);
    const PellixConfigState state = inspectPellixConfig(config);
    EXPECT_TRUE(state.readable && state.registered && state.allowlisted);
    EXPECT_EQ(steps::registerPellixAgent(model.context(), config).runToCompletion(),
              (StepResult{StepStatus::success, "Already registered"}));
    EXPECT_EQ(removePellixFromConfig(config).outcome, ConfigRemoval::restoredBackup);
    // Not EXPECT_EQ: a failure would print thirty megabytes.
    EXPECT_TRUE(readFile(config) == original);
}

TEST(LargeConfigFile, HundredMegabytesAreRegisteredAllowedAndReadAgain) {
    test::TempDir home(largeFileFolder());
    const std::string config = home / "openclaw.json";
    test::WorkerSetup model(test::testPlatform(home.path()));
    test::writeFile(config, test::sampleConfig(100'000'000));
    EXPECT_EQ(steps::registerPellixAgent(model.context(), config).runToCompletion().status,
              StepStatus::success);
    EXPECT_EQ(steps::addToAllowlist(model.context(), config).runToCompletion(),
              (StepResult{StepStatus::success, "Added to main agent's spawn allowlist"}));
    const PellixConfigState state = inspectPellixConfig(config);
    EXPECT_TRUE(state.readable && state.registered && state.allowlisted);
    EXPECT_GT(fs::file_size(config), 100'000'000u);
}

TEST_F(ConfigFile, EditRedoneOnAFileThatChangedKeepsTheOtherSave) {
    test::writeFile(config_, R"({"agents":{"list":[{"id":"main"}]},"host":0})");
    int calls = 0;
    const ConfigEditResult result = editConfigFile(
        config_,
        [&](ConfigDocument& document) {
            // The host saves while the first attempt is editing.
            if (++calls == 1) test::writeFile(config_, R"({"agents":{"list":[]},"host":1})");
            return registerAgent(document, Choices{}) == Registration::added;
        },
        ConfigBackup::takeBeforeWriting);
    EXPECT_EQ(result, ConfigEditResult::written);
    EXPECT_EQ(calls, 2);
    const std::optional<nlohmann::json> written = test::productReading(readFile(config_));
    ASSERT_NE(written, std::nullopt);
    EXPECT_EQ((*written)["host"], 1);
    EXPECT_EQ((*written)["agents"]["list"].size(), 1u);
}

TEST_F(ConfigFile, FileThatKeepsChangingGivesUpWithoutOverwriting) {
    test::writeFile(config_, R"({"host":0})");
    int calls = 0;
    const ConfigEditResult result = editConfigFile(
        config_,
        [&](ConfigDocument& document) {
            ++calls;
            test::writeFile(config_, R"({"host":)" + std::to_string(calls) + "}");
            return registerAgent(document, Choices{}) == Registration::added;
        },
        ConfigBackup::leaveAsItIs);
    EXPECT_EQ(result, ConfigEditResult::writeFailed);
    EXPECT_EQ(calls, kMaxConfigEditAttempts);
    EXPECT_EQ(readFile(config_), R"({"host":5})");
    EXPECT_EQ(steps::registerPellixAgent(model_.context(), config_).runToCompletion().status,
              StepStatus::success);
}

// The host saves its own settings (without Pellix) every few milliseconds while edits run, each
// edit slowed a little as a large file would slow it. Whatever the order, the host's last save is
// never undone: either it is the file, or the edited file holds the host's last counter.
TEST_F(ConfigFile, ConcurrentHostSavesAreNeverUndone) {
    const auto hostVersion = [](int counter) {
        return R"({"agents":{"list":[{"id":"main"}]},"host":)" + std::to_string(counter) + "}";
    };
    std::mt19937 random(5);
    int written = 0;
    int gaveUp = 0;
    for (int round = 0; round < 40; ++round) {
        test::writeFile(config_, hostVersion(0));
        std::atomic<bool> stop{false};
        std::atomic<int> last{0};
        std::thread host([&, round] {
            std::mt19937 pace(static_cast<unsigned>(round));
            for (int counter = 1; !stop; ++counter) {
                std::this_thread::sleep_for(std::chrono::microseconds(pace() % 4000));
                if (!writeFileAtomically(config_, hostVersion(counter))) last = counter;
            }
        });
        const ConfigEditResult result = editConfigFile(
            config_,
            [&](ConfigDocument& document) {
                std::this_thread::sleep_for(std::chrono::microseconds(random() % 3000));
                return registerAgent(document, Choices{}) == Registration::added;
            },
            ConfigBackup::leaveAsItIs);
        stop = true;
        host.join();
        written += result == ConfigEditResult::written ? 1 : 0;
        gaveUp += result == ConfigEditResult::writeFailed ? 1 : 0;
        const std::optional<nlohmann::json> file = test::productReading(readFile(config_));
        ASSERT_NE(file, std::nullopt);
        ASSERT_EQ((*file)["host"], last.load()) << "round " << round;
    }
    // Both outcomes must have come up, or the check above proves little.
    EXPECT_GT(written, 0);
    EXPECT_EQ(written + gaveUp, 40);
}

}  // namespace
}  // namespace pellix
