// A second install over the first through the built binary, with the fake launchctl and
// openclaw: the agent's and the user's files under ops/ survive a new bundle and a kill -9 at any
// moment, the receipt tells what is installed, and each problem status names is cured by
// installing again.

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <random>
#include <sstream>
#include <thread>

#include "HeadlessRun.h"
#include "TestSupport.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace pellix {
namespace {

struct Kept {
    std::string bytes;  // the link's target for a link
    unsigned mode = 0;
    long long mtime = 0;
    bool link = false;
};

class Reinstall : public ::testing::Test {
public:
    void SetUp() override {
        test::makeDirs(openclawHome() + "/workspace-main/agents");
        test::writeFile(openclawHome() + "/openclaw.json",
                        R"({"agents": {"list": [{"id": "main", "model": "x"}]}})");
        fakeBin = test::installFakeCommands(root / "fakebin");
        test::leadChildPathWith(home(), fakeBin);
        copy.emplace(root / "app");
    }

    std::string home() const { return root / "home"; }
    std::string openclawHome() const { return home() + "/.openclaw"; }
    std::string pellixDir() const {
        return openclawHome() + "/workspace-main/agents/pellix-unified";
    }
    std::string bundle() const { return copy->bundleDir(); }

    json runJson(std::vector<std::string> arguments) {
        arguments.push_back("--json");
        last = test::runInstaller(copy->executable(), arguments, home(), std::nullopt);
        return json::parse(last.out);
    }
    void install() {
        const json summary = runJson({"install"});
        ASSERT_EQ(last.exitStatus, 0) << last.out << last.err;
        ASSERT_EQ(summary["phase"], "complete");
    }

    // `count` files of the user's and the agent's under ops/, in twenty folders, with modes and
    // times of their own, and a link.
    void fillOps(int count) {
        for (int i = 0; i < count; ++i) {
            const std::string file = pellixDir() + "/ops/memory/day-" + std::to_string(i % 20) +
                                     "/note-" + std::to_string(i) + ".md";
            test::writeFile(file, "note " + std::to_string(i) + "\n");
            ::chmod(file.c_str(), i % 3 == 0 ? 0600 : 0644);
            const struct timespec times[2] = {{1600000000 + i, 0}, {1600000000 + i, 0}};
            ::utimensat(AT_FDCWD, file.c_str(), times, 0);
        }
        fs::create_symlink("memory/day-0/note-0.md", pellixDir() + "/ops/latest");
        test::writeFile(pellixDir() + "/ops/agent-watch-list.md", "- my-agent\n");
    }

    std::map<std::string, Kept> opsNow() const {
        std::map<std::string, Kept> files;
        const std::string ops = pellixDir() + "/ops";
        for (auto it = fs::recursive_directory_iterator(ops); it != fs::end(it); ++it) {
            struct stat info {};
            ::lstat(it->path().c_str(), &info);
            Kept kept;
            kept.link = S_ISLNK(info.st_mode);
            if (!kept.link && !S_ISREG(info.st_mode)) continue;
            kept.bytes = kept.link ? fs::read_symlink(it->path()).string()
                                   : test::readFile(it->path().string());
            kept.mode = info.st_mode & 07777;
            kept.mtime = info.st_mtime;
            files[it->path().lexically_relative(ops).string()] = kept;
        }
        return files;
    }

    void expectKept(const std::map<std::string, Kept>& before) const {
        const std::map<std::string, Kept> now = opsNow();
        int lost = 0;
        for (const auto& [path, kept] : before) {
            const auto found = now.find(path);
            if (found == now.end() || found->second.bytes != kept.bytes ||
                found->second.mode != kept.mode || found->second.mtime != kept.mtime ||
                found->second.link != kept.link) {
                if (++lost <= 5) ADD_FAILURE() << "ops/" << path << " was not kept as it was";
            }
        }
        EXPECT_EQ(lost, 0);
    }

    test::TempDir root;
    std::string fakeBin;
    std::optional<test::InstalledCopy> copy;
    test::ProcessOutcome last{};
};

TEST_F(Reinstall, ANewBundleKeepsTwoThousandUserFilesUnderOps) {
    test::writeFile(bundle() + "/RETIRED.md", "only in this version\n");
    install();
    fillOps(2000);
    const std::map<std::string, Kept> before = opsNow();
    // The next version: a file added, one removed, one changed, one under ops/ that the user has.
    test::writeFile(bundle() + "/NEW.md", "new in this version\n");
    fs::remove(bundle() + "/RETIRED.md");
    test::writeFile(bundle() + "/SOUL.md", "changed soul\n");
    test::writeFile(bundle() + "/ops/agent-watch-list.md", "# watch list template v2\n");
    test::writeFile(bundle() + "/VERSION", "1.3.0\n");

    const json summary = runJson({"install"});
    ASSERT_EQ(last.exitStatus, 0) << last.out << last.err;
    EXPECT_EQ(summary["steps"][2]["detail"], "Installed from app bundle");
    EXPECT_EQ(summary["keptBeside"], json::array({"ops/agent-watch-list.md"}));
    expectKept(before);
    EXPECT_EQ(test::readFile(pellixDir() + "/ops/agent-watch-list.md.pellix-new"),
              "# watch list template v2\n");
    EXPECT_EQ(test::readFile(pellixDir() + "/NEW.md"), "new in this version\n");
    EXPECT_EQ(test::readFile(pellixDir() + "/SOUL.md"), "changed soul\n");
    EXPECT_FALSE(fs::exists(pellixDir() + "/RETIRED.md"));

    const json status = runJson({"status"});
    EXPECT_EQ(last.exitStatus, 0) << status["problems"];
    EXPECT_EQ(status["version"]["installed"], "1.3.0");
    EXPECT_EQ(status["receipt"]["state"], "current");
    EXPECT_EQ(status["drift"]["modified"], json::array());
}

TEST_F(Reinstall, TheTerminalNamesTheFileKeptBeside) {
    install();
    test::writeFile(pellixDir() + "/ops/agent-watch-list.md", "- my-agent\n");
    test::writeFile(bundle() + "/ops/agent-watch-list.md", "# template\n");
    last = test::runInstaller(copy->executable(), {"install"}, home(), std::nullopt);
    EXPECT_EQ(last.exitStatus, 0);
    EXPECT_NE(last.out.find("Kept your ops/agent-watch-list.md; this version's is beside it as "
                            "ops/agent-watch-list.md.pellix-new\n"),
              std::string::npos)
        << last.out;
}

// Starts the install and kills it with SIGKILL after `delay`.
void installKilledAfter(const std::string& executable, const std::string& home,
                        std::chrono::microseconds delay) {
    const pid_t child = ::fork();
    if (child == 0) {
        const int null = ::open("/dev/null", O_RDWR);
        ::dup2(null, 0);
        ::dup2(null, 1);
        ::dup2(null, 2);
        const std::string homeVariable = "HOME=" + home;
        char* const argv[] = {const_cast<char*>(executable.c_str()), const_cast<char*>("install"),
                              nullptr};
        char* const envp[] = {const_cast<char*>(homeVariable.c_str()),
                              const_cast<char*>("PATH=/usr/bin:/bin"), nullptr};
        ::execve(executable.c_str(), argv, envp);
        ::_exit(127);
    }
    std::this_thread::sleep_for(delay);
    ::kill(child, SIGKILL);
    int status = 0;
    ::waitpid(child, &status, 0);
}

TEST_F(Reinstall, KillNineAtAnyMomentOfThirtyReinstallsLosesNoOpsFile) {
    install();
    fillOps(2000);
    test::writeFile(bundle() + "/ops/agent-watch-list.md", "# template\n");
    const std::map<std::string, Kept> before = opsNow();
    // How long one whole reinstall takes here, to spread the kills over all of it.
    const auto started = std::chrono::steady_clock::now();
    install();
    const auto whole = std::chrono::duration_cast<std::chrono::microseconds>(
        std::chrono::steady_clock::now() - started);
    // Half the kills anywhere in the run, half in its first twentieth, where the tree is
    // replaced.
    std::mt19937 random(20261123);
    std::uniform_int_distribution<long long> anywhere(0, whole.count());
    std::uniform_int_distribution<long long> early(0, whole.count() / 20);
    const std::string agents = openclawHome() + "/workspace-main/agents";
    int midReplacement = 0;
    for (int run = 0; run < 30; ++run) {
        const long long delay = run % 2 ? anywhere(random) : early(random);
        installKilledAfter(copy->executable(), home(), std::chrono::microseconds(delay));
        midReplacement += fs::exists(agents + "/.pellix-unified.previous") ||
                          fs::exists(agents + "/.pellix-unified.incoming");
    }
    std::cout << midReplacement << " of 30 kills left a reinstall half done\n";
    install();
    expectKept(before);
    EXPECT_FALSE(fs::exists(openclawHome() + "/workspace-main/agents/.pellix-unified.previous"));
    EXPECT_FALSE(fs::exists(openclawHome() + "/workspace-main/agents/.pellix-unified.incoming"));
}

TEST_F(Reinstall, UninstallRemovesWhatTheReceiptListsThenTheReceiptAndKeepsTheBackup) {
    install();
    // A job file the manager's folder no longer leads to, still listed in the receipt.
    const std::string stray = root / "old-agents/ai.pellix.pellix.wal.plist";
    test::writeFile(stray, "<plist/>");
    const std::string receipt = openclawHome() + "/.pellix-installer/receipt.json";
    json listed = json::parse(test::readFile(receipt));
    listed["jobFiles"].push_back(stray);
    test::writeFile(receipt, listed.dump(2));

    const json removed = runJson({"uninstall"});
    EXPECT_EQ(last.exitStatus, 0) << last.out;
    EXPECT_FALSE(fs::exists(stray));
    EXPECT_FALSE(fs::exists(receipt));
    EXPECT_EQ(removed["receipt"]["removed"], true);
    EXPECT_TRUE(fs::exists(openclawHome() + "/.pellix-installer/openclaw.json.backup"));
}

// One way to break an install, the words status names it with, and what must hold after the
// cure besides a healthy status.
struct Breakage {
    const char* name;
    std::function<void(Reinstall&)> breakIt;
    const char* named;
    // What ops/ holds after the cure besides the user's own file: the user's file only when
    // ops/ was not the part deleted.
    std::vector<std::string> opsAfter = {"memory/keep.md"};
};

class Cure : public Reinstall, public ::testing::WithParamInterface<Breakage> {};

void dropLoadedJob(const std::string& state, const std::string& label) {
    std::istringstream lines(test::readFile(state));
    std::string kept;
    for (std::string line; std::getline(lines, line);) {
        if (!line.starts_with(label + "\t")) kept += line + "\n";
    }
    test::writeFile(state, kept);
}

TEST_P(Cure, StatusNamesTheProblemAndASecondInstallCuresItKeepingOps) {
    install();
    test::writeFile(pellixDir() + "/ops/memory/keep.md", "mine\n");
    GetParam().breakIt(*this);
    const json broken = runJson({"status"});
    EXPECT_EQ(last.exitStatus, 1) << broken["problems"];
    EXPECT_NE(broken["problems"].dump().find(GetParam().named), std::string::npos)
        << broken["problems"];

    install();
    const json cured = runJson({"status"});
    EXPECT_EQ(last.exitStatus, 0) << cured["problems"];
    for (const std::string& file : GetParam().opsAfter) {
        EXPECT_TRUE(fs::exists(pellixDir() + "/ops/" + file)) << file;
    }
}

std::string configOf(Reinstall& test) {
    return test.openclawHome() + "/openclaw.json";
}

INSTANTIATE_TEST_SUITE_P(
    EveryProblem, Cure,
    ::testing::Values(
        Breakage{"ShippedFileDeleted", [](Reinstall& t) { fs::remove(t.pellixDir() + "/SOUL.md"); },
                 "SOUL.md"},
        Breakage{"ShippedFileChanged",
                 [](Reinstall& t) { test::writeFile(t.pellixDir() + "/AGENTS.md", "mine"); },
                 "AGENTS.md was changed since the install"},
        Breakage{"JobFileDeleted",
                 [](Reinstall& t) {
                     fs::remove(t.home() + "/Library/LaunchAgents/ai.pellix.pellix.wal.plist");
                 },
                 "ai.pellix.pellix.wal"},
        Breakage{"JobUnloaded",
                 [](Reinstall& t) {
                     dropLoadedJob(t.fakeBin + "/loaded", "ai.pellix.pellix.tripwire-ai");
                 },
                 "ai.pellix.pellix.tripwire-ai: not loaded"},
        Breakage{"EntryTakenOut",
                 [](Reinstall& t) {
                     json config = json::parse(test::readFile(configOf(t)));
                     auto& list = config["agents"]["list"];
                     list.erase(list.begin() + 1);
                     test::writeFile(configOf(t), config.dump(2));
                 },
                 "no Pellix agent entry"},
        Breakage{"AllowlistItemTakenOut",
                 [](Reinstall& t) {
                     json config = json::parse(test::readFile(configOf(t)));
                     config["agents"]["list"][0].erase("subagents");
                     test::writeFile(configOf(t), config.dump(2));
                 },
                 "allowAgents"},
        Breakage{"SessionStoreDeleted",
                 [](Reinstall& t) { fs::remove_all(t.openclawHome() + "/agents/pellix"); },
                 "session store"},
        Breakage{
            "ReceiptDeleted",
            [](Reinstall& t) { fs::remove(t.openclawHome() + "/.pellix-installer/receipt.json"); },
            "receipt"},
        Breakage{"OpsDeleted",
                 [](Reinstall& t) { fs::remove_all(t.pellixDir() + "/ops"); },
                 "/ops is missing",
                 {"memory", "snapshots", "wal"}},
        Breakage{"ReinstallCutShort",
                 [](Reinstall& t) {
                     test::writeFile(t.openclawHome() +
                                         "/workspace-main/agents/.pellix-unified.previous/ops/"
                                         "memory/from-the-killed-run.md",
                                     "kept\n");
                 },
                 "a reinstall was cut short",
                 {"memory/keep.md", "memory/from-the-killed-run.md"}}),
    [](const auto& info) { return std::string(info.param.name); });

}  // namespace
}  // namespace pellix
