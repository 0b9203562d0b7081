#include "HeadlessRun.h"

#include <sys/wait.h>

#include <cstdlib>
#include <filesystem>

#include "TestSupport.h"

namespace fs = std::filesystem;

namespace pellix::test {

namespace {

std::string quoted(const std::string& text) {
    std::string result = "'";
    for (char c : text) result += (c == '\'') ? std::string("'\\''") : std::string(1, c);
    return result + "'";
}

}  // namespace

InstalledCopy::InstalledCopy(const std::string& root, bool bundle)
    : root_(root), executable_(root + "/bin/pellix-installer") {
    makeDirs(root + "/bin");
    fs::copy_file(PELLIX_INSTALLER_EXE, executable_);
    if (bundle) writeSampleAgent(bundleDir());
}

std::string InstalledCopy::bundleDir() const {
    return root_ + "/share/pellix-installer/pellix-bundle";
}

void leadChildPathWith(const std::string& home, const std::string& fakeBin) {
    writeFile(home + "/.zshenv", "export PATH=" + quoted(fakeBin) + ":\"$PATH\"\n");
}

ProcessOutcome runInstaller(const std::string& executable,
                            const std::vector<std::string>& arguments, const std::string& home,
                            const std::optional<std::string>& openclawHome,
                            const RunOptions& options) {
    TempDir capture;
    std::string command = "env -i HOME=" + quoted(home) + " PATH=/usr/bin:/bin";
    if (openclawHome) command += " OPENCLAW_HOME=" + quoted(*openclawHome);
    for (const std::string& variable : options.environment) command += " " + quoted(variable);
    command += " " + quoted(executable);
    for (const std::string& argument : arguments) command += " " + quoted(argument);
    if (options.onTerminal) {
        command = "script -qec " + quoted(command + " 2>" + quoted(capture / "err")) + " /dev/null";
    } else {
        command += " 2>" + quoted(capture / "err");
    }
    command += " </dev/null >" + quoted(capture / "out");
    const int status = std::system(command.c_str());
    const int exitStatus = WIFEXITED(status) ? WEXITSTATUS(status) : 128 + WTERMSIG(status);
    return {exitStatus, readFile(capture / "out"), readFile(capture / "err")};
}

}  // namespace pellix::test
