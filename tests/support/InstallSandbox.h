#pragma once
// A throwaway machine for whole installs: a temporary HOME holding ~/.openclaw with openclaw.json
// and workspace-main/agents, the fake launchctl and openclaw, and the sample agent where asked.

#include <string>

#include "InstallerViewModel.h"
#include "TestSupport.h"

namespace pellix::test {

// Where the install finds the agent's files: in the installer's bundle (copied as a blocking
// job), or already in the workspace from an earlier install (no copy at all).
enum class AgentSource { bundle, earlierInstall };

class Sandbox {
public:
    explicit Sandbox(bool withOpenClaw = true, AgentSource source = AgentSource::bundle);
    // Rooted in this HOME, fakes first on the children's PATH, the bundle as the resources.
    Platform platform() const;
    std::string root() const { return root_.path(); }
    std::string home() const { return root_ / "home"; }
    std::string openclawHome() const { return home() + "/.openclaw"; }
    std::string configFile() const { return openclawHome() + "/openclaw.json"; }
    std::string agentsFolder() const { return openclawHome() + "/workspace-main/agents"; }
    std::string pellixDir() const { return agentsFolder() + "/pellix-unified"; }
    std::string resources() const { return root_ / "resources"; }
    const std::string& fakeBin() const { return fakeBin_; }
    std::string calls() const { return readFile(fakeBin_ + "/calls.log"); }
    std::string loadedJobs() const { return readFile(fakeBin_ + "/loaded"); }

private:
    TempDir root_;
    std::string fakeBin_;
};

}  // namespace pellix::test
