// The packages as a user gets them: each .deb that scripts/package made is unpacked with
// dpkg-deb -x into a temporary root and run from there. Runs when PELLIX_PACKAGE_DIR names the
// folder holding the .deb files (scripts/test sets it after building them).

#include <gtest/gtest.h>

#include <sys/wait.h>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>
#include <sstream>

#include "HeadlessRun.h"
#include "TestSupport.h"

namespace fs = std::filesystem;
using nlohmann::json;

namespace pellix {
namespace {

struct PackageKind {
    std::string name;
    std::string otherName;
    bool window;
};

void PrintTo(const PackageKind& kind, std::ostream* out) {
    *out << kind.name;
}

std::string shellQuoted(const std::string& text) {
    std::string result = "'";
    for (char c : text) result += (c == '\'') ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

// Standard output and exit status of a shell command line; standard error goes to the log.
test::ProcessOutcome capture(const std::string& command) {
    test::ProcessOutcome outcome{-1, "", ""};
    FILE* pipe = popen(command.c_str(), "r");
    if (pipe == nullptr) return outcome;
    char buffer[4096];
    for (std::size_t n; (n = fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        outcome.out.append(buffer, n);
    const int status = pclose(pipe);
    outcome.exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return outcome;
}

std::string findDeb(const std::string& folder, const std::string& name) {
    const std::string prefix = name + "_" PELLIX_VERSION "_";
    for (const auto& entry : fs::directory_iterator(folder)) {
        const std::string file = entry.path().filename().string();
        if (file.starts_with(prefix) && file.ends_with(".deb")) return entry.path().string();
    }
    return {};
}

// The commands listed under "Commands:" in the program's help, and every --option of the help
// texts (the program's and each command's).
std::set<std::string> namesInHelp(const std::string& help, bool commands) {
    std::set<std::string> names;
    if (commands) {
        std::istringstream lines(help.substr(std::min(help.find("Commands:\n"), help.size())));
        std::string line;
        std::getline(lines, line);
        while (std::getline(lines, line) && line.starts_with("  ")) {
            names.insert(line.substr(2, line.find(' ', 2) - 2));
        }
        return names;
    }
    const std::regex option("--[a-z][a-z-]*");
    for (std::sregex_iterator at(help.begin(), help.end(), option), end; at != end; ++at) {
        names.insert(at->str());
    }
    return names;
}

class PackagedInstaller : public ::testing::TestWithParam<PackageKind> {
protected:
    void SetUp() override {
        const char* folder = std::getenv("PELLIX_PACKAGE_DIR");
        if (folder == nullptr || *folder == '\0') {
            GTEST_SKIP()
                << "PELLIX_PACKAGE_DIR is not set: build the packages with "
                   "scripts/package, then run ctest -L package with PELLIX_PACKAGE_DIR=dist";
        }
        deb = findDeb(folder, GetParam().name);
        ASSERT_FALSE(deb.empty()) << "no " << GetParam().name << "_" PELLIX_VERSION "_*.deb in "
                                  << folder;
        ASSERT_EQ(capture("dpkg-deb -x " + shellQuoted(deb) + " " + shellQuoted(tree())).exitStatus,
                  0);
    }

    std::string tree() const { return root / "tree"; }
    std::string executable() const { return tree() + "/usr/bin/pellix-installer"; }
    std::string field(const std::string& name) const {
        std::string value = capture("dpkg-deb -f " + shellQuoted(deb) + " " + name).out;
        while (!value.empty() && value.back() == '\n') value.pop_back();
        return value;
    }

    test::TempDir root;
    std::string deb;
};

TEST_P(PackagedInstaller, VersionIsThePackagedOne) {
    const auto outcome = test::runInstaller(executable(), {"--version"}, root / "home", {});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_EQ(outcome.out, "pellix-installer " PELLIX_VERSION "\n");
    EXPECT_EQ(field("Version"), PELLIX_VERSION);
}

TEST_P(PackagedInstaller, HelpPrintsTheUsage) {
    const auto outcome = test::runInstaller(executable(), {"--help"}, root / "home", {});
    EXPECT_EQ(outcome.exitStatus, 0);
    EXPECT_TRUE(outcome.out.starts_with("Usage: pellix-installer")) << outcome.out;
    EXPECT_NE(outcome.out.find("--version"), std::string::npos);
    EXPECT_EQ(outcome.err, "");
}

TEST_P(PackagedInstaller, WindowWithoutADisplaySaysSoAndExitsTwoWithoutAbort) {
    if (!GetParam().window)
        GTEST_SKIP() << "this package has no window: without arguments it installs";
    // runInstaller gives the binary only HOME, PATH and OPENCLAW_HOME: no DISPLAY, no
    // WAYLAND_DISPLAY, no QT_QPA_PLATFORM.
    const auto outcome = test::runInstaller(executable(), {}, root / "home", {});
    EXPECT_EQ(outcome.exitStatus, 2) << "134 would be Qt's abort";
    EXPECT_EQ(outcome.out, "");
    EXPECT_EQ(outcome.err,
              "pellix-installer: no display to open the installer window on (DISPLAY and "
              "WAYLAND_DISPLAY are not set); to install from the terminal, run: "
              "pellix-installer install\n");
}

TEST_P(PackagedInstaller, WholeInstallRunsFromTheUnpackedTreeWithItsBundle) {
    const std::string home = root / "home";
    const std::string openclawHome = home + "/.openclaw";
    test::makeDirs(openclawHome + "/workspace-main/agents");
    test::writeFile(openclawHome + "/openclaw.json",
                    R"({"agents": {"list": [{"id": "main", "model": "x"}]}})");
    test::leadChildPathWith(home, test::installFakeCommands(root / "fakebin"));

    const auto outcome = test::runInstaller(
        executable(), {"--headless", "--scan", "relaxed", "--model", "opus", "--json"}, home, {});
    ASSERT_EQ(outcome.exitStatus, 0) << outcome.out << outcome.err;
    const json summary = json::parse(outcome.out);
    EXPECT_EQ(summary["phase"], "complete");
    ASSERT_EQ(summary["steps"].size(), 11u);
    for (const auto& step : summary["steps"]) {
        EXPECT_EQ(step["status"], "success") << step["label"] << ": " << step["detail"];
    }
    EXPECT_EQ(summary["steps"][2]["detail"], "Installed from app bundle");
    const std::string pellixDir = openclawHome + "/workspace-main/agents/pellix-unified";
    EXPECT_EQ(test::readFile(pellixDir + "/AGENTS.md"),
              test::readFile(tree() + "/usr/share/pellix-installer/pellix-bundle/AGENTS.md"));
    const json config = json::parse(test::readFile(openclawHome + "/openclaw.json"));
    EXPECT_EQ(config["agents"]["list"][1]["heartbeatIntervalMinutes"], 60);
}

TEST_P(PackagedInstaller, LinksQtOnlyWhenItHasTheWindow) {
    const auto ldd = capture("ldd " + shellQuoted(executable()));
    ASSERT_EQ(ldd.exitStatus, 0);
    EXPECT_NE(ldd.out.find("libc.so"), std::string::npos) << ldd.out;
    EXPECT_EQ(ldd.out.find("not found"), std::string::npos) << ldd.out;
    if (GetParam().window) {
        EXPECT_NE(ldd.out.find("libQt6Widgets.so"), std::string::npos) << ldd.out;
    } else {
        EXPECT_EQ(ldd.out.find("libQt"), std::string::npos) << ldd.out;
    }
}

TEST_P(PackagedInstaller, ControlFieldsNameTheRuntimeAndTheOtherPackage) {
    EXPECT_EQ(field("Package"), GetParam().name);
    const std::string depends = field("Depends");
    EXPECT_NE(depends.find("libc6"), std::string::npos) << depends;
    EXPECT_NE(depends.find("zsh"), std::string::npos) << depends;
    EXPECT_NE(depends.find("python3"), std::string::npos) << depends;
    if (GetParam().window) {
        EXPECT_NE(depends.find("libqt6widgets6"), std::string::npos) << depends;
    } else {
        EXPECT_EQ(depends.find("libqt"), std::string::npos) << depends;
    }
    EXPECT_EQ(field("Recommends"), GetParam().window ? "fonts-noto-color-emoji" : "");
    EXPECT_EQ(field("Conflicts"), GetParam().otherName);
    EXPECT_EQ(field("Replaces"), GetParam().otherName);
}

TEST_P(PackagedInstaller, ShipsItsDocumentationAndDesktopFilesWhereTheSystemLooks) {
    const std::string doc = "usr/share/doc/" + GetParam().name;
    for (const std::string& path :
         {std::string("usr/share/pellix-installer/pellix-bundle/AGENTS.md"),
          std::string("usr/share/man/man1/pellix-installer.1.gz"),
          std::string("usr/share/bash-completion/completions/pellix-installer"), doc + "/copyright",
          doc + "/changelog.gz", "usr/share/lintian/overrides/" + GetParam().name}) {
        EXPECT_TRUE(fs::is_regular_file(tree() + "/" + path)) << path;
    }
    std::vector<std::string> desktopFiles = {
        "usr/share/applications/ai.pellix.installer.desktop",
        "usr/share/metainfo/ai.pellix.installer.metainfo.xml",
        "usr/share/icons/hicolor/scalable/apps/pellix-installer.svg"};
    for (const char* size : {"16", "24", "32", "48", "64", "128", "256"}) {
        desktopFiles.push_back(std::string("usr/share/icons/hicolor/") + size + "x" + size +
                               "/apps/pellix-installer.png");
    }
    for (const std::string& path : desktopFiles) {
        EXPECT_EQ(fs::is_regular_file(tree() + "/" + path), GetParam().window) << path;
    }
}

TEST_P(PackagedInstaller, ManualPageAndCompletionNameEveryCommandAndOptionOfTheHelp) {
    const auto run = [&](std::vector<std::string> arguments) {
        return test::runInstaller(executable(), arguments, root / "home", {}).out;
    };
    const std::string help = run({"--help"});
    std::set<std::string> names = namesInHelp(help, false);
    for (const std::string& command : namesInHelp(help, true)) {
        names.insert(command);
        names.merge(namesInHelp(run({command, "--help"}), false));
    }
    ASSERT_TRUE(names.contains("--scan") && names.contains("--version")) << help;
    std::string manual = capture("gzip -dc " + shellQuoted(tree() + "/usr/share/man/man1/" +
                                                           "pellix-installer.1.gz"))
                             .out;
    manual = std::regex_replace(manual, std::regex(R"(\\-)"), "-");
    const std::string completion =
        test::readFile(tree() + "/usr/share/bash-completion/completions/pellix-installer");
    for (const std::string& name : names) {
        EXPECT_NE(manual.find(name), std::string::npos) << "the manual page lacks " << name;
        EXPECT_NE(completion.find(name), std::string::npos) << "the completion lacks " << name;
    }
}

TEST_P(PackagedInstaller, IconSizesAreTheirNamedSize) {
    if (!GetParam().window) GTEST_SKIP() << "the command-line package has no icon";
    for (const char* size : {"16", "48", "256"}) {
        const std::string png =
            tree() + "/usr/share/icons/hicolor/" + size + "x" + size + "/apps/pellix-installer.png";
        const auto described = capture("file -b " + shellQuoted(png));
        EXPECT_TRUE(
            described.out.starts_with(std::string("PNG image data, ") + size + " x " + size))
            << described.out;
    }
}

INSTANTIATE_TEST_SUITE_P(
    Packages, PackagedInstaller,
    ::testing::Values(PackageKind{"pellix-installer", "pellix-installer-cli", true},
                      PackageKind{"pellix-installer-cli", "pellix-installer", false}),
    [](const auto& info) { return info.param.window ? std::string("Full") : std::string("Cli"); });

}  // namespace
}  // namespace pellix
