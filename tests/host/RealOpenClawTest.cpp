// The installer against the real OpenClaw: each release in tests/host/openclaw-releases, fetched
// from the npm registry by scripts/fetch-openclaw with the Node it needs. In a home the host made
// itself (its own setup, then its own `agents add`), an install and a change of the choices must
// leave a config the host accepts and a gateway that does not refuse it, the host's own repair
// must keep the entry, and an uninstall must give back the file byte for byte. Network traffic
// stays on the machine: the host runs offline, its gateway is never started.

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "HeadlessRun.h"
#include "TestSupport.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace pellix {
namespace {

using test::ProcessOutcome;
using test::TempDir;

std::string cacheDir() {
    if (const char* set = std::getenv("PELLIX_OPENCLAW_CACHE"); set && *set) return set;
    if (const char* xdg = std::getenv("XDG_CACHE_HOME"); xdg && *xdg) {
        return std::string(xdg) + "/pellix-installer-tests/openclaw";
    }
    const char* home = std::getenv("HOME");
    return std::string(home ? home : "") + "/.cache/pellix-installer-tests/openclaw";
}

std::vector<std::string> releases() {
    std::ifstream in(std::string(PELLIX_SOURCE_DIR) + "/tests/host/openclaw-releases");
    std::vector<std::string> result;
    for (std::string line; std::getline(in, line);) {
        if (!line.empty()) result.push_back(line);
    }
    return result;
}

std::string describe(const ProcessOutcome& outcome) {
    std::ostringstream text;
    text << "exit " << outcome.exitStatus << "\n--- stdout\n"
         << outcome.out << "\n--- stderr\n"
         << outcome.err;
    return text.str();
}

// The Pellix entry in either of the host's forms, or null.
const json* pellixEntry(const json& config) {
    const auto found = config.find("agents");
    if (found == config.end() || !found->is_object()) return nullptr;
    const json& agents = *found;
    if (auto entries = agents.find("entries"); entries != agents.end() && entries->is_object()) {
        if (auto found = entries->find("pellix"); found != entries->end()) return &*found;
    }
    if (auto list = agents.find("list"); list != agents.end() && list->is_array()) {
        for (const json& entry : *list) {
            if (entry.value("id", "") == "pellix" || entry.value("name", "") == "pellix") {
                return &entry;
            }
        }
    }
    return nullptr;
}

class RealOpenClaw : public ::testing::TestWithParam<std::string> {
protected:
    void SetUp() override {
        const std::string cache = cacheDir();
        if (fs::exists(cache + "/unreachable")) {
            GTEST_SKIP() << test::readFile(cache + "/unreachable");
        }
        release = cache + "/openclaw-" + GetParam();
        if (!fs::exists(release + "/.complete") || !fs::exists(cache + "/node/.complete")) {
            GTEST_SKIP() << "OpenClaw " << GetParam() << " is not fetched into " << cache
                         << ": run scripts/fetch-openclaw (the test command does)";
        }
        path = cache + "/node/bin:" + release + "/node_modules/.bin";
    }

    std::string home() const { return root / "home"; }
    std::string configFile(const std::string& home) const {
        return home + "/.openclaw/openclaw.json";
    }

    ProcessOutcome openclaw(const std::string& home, const std::vector<std::string>& arguments) {
        return test::runInstaller(release + "/node_modules/.bin/openclaw", arguments, home,
                                  std::nullopt, {false, hostEnvironment()});
    }

    ProcessOutcome installer(const std::string& home, const std::vector<std::string>& arguments) {
        if (!copy) copy.emplace(root / "app");
        return test::runInstaller(copy->executable(), arguments, home, std::nullopt,
                                  {false, hostEnvironment()});
    }

    json installerJson(const std::string& home, std::vector<std::string> arguments) {
        arguments.push_back("--json");
        last = installer(home, arguments);
        return json::parse(last.out);
    }

    std::vector<std::string> hostEnvironment() const {
        return {"PATH=" + path + ":/usr/bin:/bin", "OPENCLAW_OFFLINE=1",
                "OPENCLAW_NO_AUTO_UPDATE=1", "OPENCLAW_TELEMETRY=0"};
    }

    // The host's own setup and a second agent of its own, as a user of that release has them.
    void hostMakesHome() {
        test::makeDirs(home());
        ProcessOutcome setup = openclaw(home(), {"setup", "--baseline"});
        ASSERT_EQ(setup.exitStatus, 0) << describe(setup);
        ProcessOutcome add =
            openclaw(home(), {"agents", "add", "work", "--non-interactive", "--workspace",
                              home() + "/.openclaw/workspace-work"});
        ASSERT_EQ(add.exitStatus, 0) << describe(add);
        // The install copies the agent into the chosen workspace's agents folder, which it does
        // not make; the user makes it in each workspace the install may choose.
        for (const auto& entry : fs::directory_iterator(home() + "/.openclaw")) {
            if (entry.path().filename().string().rfind("workspace-", 0) == 0) {
                test::makeDirs(entry.path().string() + "/agents");
            }
        }
        // The installer runs the host's commands through the user's shell.
        test::leadChildPathWith(home(), path);
    }

    void expectHostAccepts(const std::string& home) {
        ProcessOutcome validate = openclaw(home, {"config", "validate", "--json"});
        EXPECT_EQ(validate.exitStatus, 0) << describe(validate);
        EXPECT_EQ(json::parse(validate.out).value("valid", false), true) << describe(validate);
    }

    TempDir root;
    std::string release;
    std::string path;
    std::optional<test::InstalledCopy> copy;
    ProcessOutcome last{};
};

TEST_P(RealOpenClaw, InstallLeavesAConfigTheHostAcceptsAndUninstallGivesTheFileBack) {
    ASSERT_NO_FATAL_FAILURE(hostMakesHome());
    const std::string before = test::readFile(configFile(home()));

    const json installed = installerJson(home(), {"install"});
    ASSERT_EQ(last.exitStatus, 0) << describe(last);
    EXPECT_EQ(installed["phase"], "complete");
    const std::string form = installed["registration"]["form"];
    EXPECT_TRUE(form == "agents.entries" || form == "agents.list") << form;
    EXPECT_EQ(installed["registration"]["host"], "OpenClaw " + GetParam());
    EXPECT_EQ(installed["registration"]["verdict"], "valid");
    EXPECT_TRUE(installed["gatewayConfigRefused"].is_null()) << describe(last);
    EXPECT_TRUE(installed["allowlistRefused"].is_null()) << describe(last);
    const json config = json::parse(test::readFile(configFile(home())));
    ASSERT_NE(pellixEntry(config), nullptr) << config.dump(2);
    expectHostAccepts(home());

    // The host checks its config before anything else on a restart; the service it would
    // restart is not there, which is no concern of the config's.
    ProcessOutcome restart = openclaw(home(), {"gateway", "restart"});
    EXPECT_NE(restart.exitStatus, 78) << describe(restart);
    EXPECT_EQ((restart.out + restart.err).find("config is invalid"), std::string::npos)
        << describe(restart);

    // Healthy apart from the jobs, which need a login session's service manager.
    const json status = installerJson(home(), {"status"});
    EXPECT_EQ(status["config"]["registered"], true) << last.out;
    EXPECT_EQ(status["config"]["form"], form);
    EXPECT_EQ(status["config"]["heartbeatIntervalMinutes"], 15);
    EXPECT_EQ(status["config"]["allowlisted"], true);
    EXPECT_EQ(status["configValidation"]["verdict"], "valid") << last.out;
    EXPECT_EQ(status["missingFiles"], json::array());
    for (const json& problem : status["problems"]) {
        EXPECT_NE(problem.get<std::string>().find(": not loaded"), std::string::npos) << problem;
    }

    // The choices changed in place, in the host's form: still valid, the interval changed.
    const json configured = installerJson(home(), {"configure", "--scan", "relaxed"});
    EXPECT_EQ(last.exitStatus, 0) << describe(last);
    EXPECT_EQ(configured["changed"], true);
    expectHostAccepts(home());
    const json afterConfigure = json::parse(test::readFile(configFile(home())));
    const json* changed = pellixEntry(afterConfigure);
    ASSERT_NE(changed, nullptr);
    if (form == "agents.entries") {
        EXPECT_EQ(changed->at("heartbeat").at("every"), "60m") << changed->dump();
    } else {
        EXPECT_TRUE(changed->value("heartbeatIntervalMinutes", 0) == 60 ||
                    changed->value("heartbeat", json::object()).value("every", "") == "60m")
            << changed->dump();
    }

    // The host's own repair, in a copy of the home: the entry stays and the file stays valid.
    const std::string repaired = root / "repaired";
    fs::copy(home(), repaired, fs::copy_options::recursive | fs::copy_options::copy_symlinks);
    ProcessOutcome doctor = openclaw(repaired, {"doctor", "--fix", "--non-interactive", "--yes"});
    EXPECT_EQ(doctor.exitStatus, 0) << describe(doctor);
    const json afterDoctor = json::parse(test::readFile(configFile(repaired)));
    const json* entry = pellixEntry(afterDoctor);
    ASSERT_NE(entry, nullptr) << afterDoctor.dump(2);
    EXPECT_EQ(entry->value("description", ""), "Behavioral drift detection & AI conscience");
    expectHostAccepts(repaired);

    const json removed = installerJson(home(), {"uninstall"});
    EXPECT_EQ(last.exitStatus, 0) << describe(last);
    // The host made these bytes itself.
    EXPECT_EQ(test::readFile(configFile(home())), before) << removed.dump(2);
}

INSTANTIATE_TEST_SUITE_P(Releases, RealOpenClaw, ::testing::ValuesIn(releases()),
                         [](const auto& info) {
                             std::string name = "OpenClaw_" + info.param;
                             for (char& c : name) c = std::isalnum(c) ? c : '_';
                             return name;
                         });

}  // namespace
}  // namespace pellix
