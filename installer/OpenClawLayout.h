#pragma once
// Where OpenClaw and the agent live on this machine: the OpenClaw home ($OPENCLAW_HOME, else
// ~/.openclaw), its openclaw.json, the workspace that receives the agent, the agent's tree and
// its session store. Paths are joined by plain concatenation, never normalised, and computed
// afresh from the environment and the file system on every call: nothing is cached. Any thread,
// as long as the lookups it was given are.

#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Platform.h"

namespace pellix {

class OpenClawLayout {
public:
    using EnvironmentLookup = std::function<std::optional<std::string>(const std::string&)>;

    OpenClawLayout(EnvironmentLookup environment, std::function<std::string()> homeDirectory);
    explicit OpenClawLayout(const Platform& platform)
        : OpenClawLayout(platform.environment, platform.homeDirectory) {}

    // The user's home directory: $HOME, else the password database's.
    std::string homeDirectory() const { return homeDirectory_(); }
    std::string openclawHome() const;
    // Anything at openclawHome counts, a plain file too; openclaw.json is not looked at.
    bool openclawExists() const;
    std::string configFile() const;
    // The first workspace-* folder that holds the agent, else the first one in listing order.
    std::optional<std::string> workspace() const;
    std::string sessionsDirectory() const;
    // The agent's tree in the workspace, when something (a dangling link too) stands there.
    std::optional<std::string> installedPellixDir() const;
    // The agent's tree in every workspace that has one, in listing order.
    std::vector<std::string> installedPellixDirs() const;

    // Where the agent's tree goes in a workspace.
    static std::string pellixDirIn(const std::string& workspace);

private:
    EnvironmentLookup environment_;
    std::function<std::string()> homeDirectory_;
};

}  // namespace pellix
