// The always-on service: one launchd job that runs the agent's watcher script from login on and
// is restarted whenever it exits. Its worst outcome is a warning; the install goes on regardless.

#include <filesystem>
#include <system_error>

#include "../FileIo.h"
#include "../InstallerViewModel.h"
#include "PropertyLists.h"

namespace pellix {

Task<StepResult> InstallerViewModel::installLaunchdService(std::string pellixDir) {
    const std::string python = co_await findPython3();

    const std::string agentsFolder = launchAgentsFolder(homeDirectory());
    std::error_code ignored;
    // A failure here shows up as the failed write below.
    std::filesystem::create_directories(std::filesystem::path(agentsFolder), ignored);

    const std::string label = serviceJobLabel();
    const std::string plist = agentsFolder + "/" + label + ".plist";
    const std::string text =
        servicePropertyList(pellixDir, python, homeDirectory(), openclawHome());
    if (writeFileAtomically(plist, text)) {
        co_return StepResult{StepStatus::warning, "Could not write plist — install manually"};
    }

    // Booting out first makes a second install safe; the pause lets launchd finish the removal
    // before the new file is bootstrapped. Neither result is looked at: the print below decides.
    co_await shellCommand("launchctl bootout gui/$(id -u) " + plist +
                          " 2>/dev/null; sleep 1; launchctl bootstrap gui/$(id -u) " + plist);
    const ShellResult described =
        co_await shellCommand("launchctl print gui/$(id -u)/" + label + " 2>&1 | head -1");
    // launchd's print format is not an interface, so only the label is looked for. Its "Could not
    // find service" reply names the label too: where that is the first line, a job that failed to
    // load passes as well.
    if (described.output.find(label) != std::string::npos) {
        co_return StepResult{StepStatus::success,
                             "Always-on service running (30s session polling)"};
    }
    co_return StepResult{StepStatus::warning,
                         "Service installed but may need login/restart to activate"};
}

}  // namespace pellix
