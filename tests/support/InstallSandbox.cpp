#include "InstallSandbox.h"

namespace pellix::test {

Sandbox::Sandbox(bool withOpenClaw, AgentSource source) {
    if (withOpenClaw) {
        makeDirs(agentsFolder());
        writeFile(configFile(), R"({"agents": {"list": [{"id": "main", "model": "x"}]}})");
    } else {
        makeDirs(home());
    }
    fakeBin_ = installFakeCommands(root_ / "fakebin");
    makeDirs(resources());
    if (source == AgentSource::bundle) writeSampleAgent(resources() + "/pellix-bundle");
    if (source == AgentSource::earlierInstall && withOpenClaw) writeSampleAgent(pellixDir());
}

Platform Sandbox::platform() const {
    return testPlatform(home(), fakeBin_, std::nullopt, resources());
}

}  // namespace pellix::test
