#pragma once
// Runs the built pellix-installer as a user would, from a copy laid out like an installed one
// (bin/ beside share/pellix-installer/pellix-bundle), with its own HOME and OPENCLAW_HOME.

#include <optional>
#include <string>
#include <vector>

namespace pellix::test {

struct ProcessOutcome {
    int exitStatus;
    std::string out;
    std::string err;
};

class InstalledCopy {
public:
    // `bundle` false leaves the copy without an agent bundle.
    InstalledCopy(const std::string& root, bool bundle = true);
    const std::string& executable() const { return executable_; }
    std::string bundleDir() const;

private:
    std::string root_;
    std::string executable_;
};

// Puts `fakeBin` first on the PATH of every zsh started with HOME=`home`, the way a user's own
// ~/.zshenv would.
void leadChildPathWith(const std::string& home, const std::string& fakeBin);

struct RunOptions {
    // Standard output on a pseudo-terminal (through script(1)) instead of a file.
    bool onTerminal = false;
    // Further NAME=value pairs for the environment.
    std::vector<std::string> environment;
};

// Runs `executable arguments...` with exactly HOME, PATH and (when given) OPENCLAW_HOME set.
ProcessOutcome runInstaller(const std::string& executable,
                            const std::vector<std::string>& arguments, const std::string& home,
                            const std::optional<std::string>& openclawHome,
                            const RunOptions& options = {});

}  // namespace pellix::test
