// The three periodic launchd jobs that run the agent's scanners. A job counts as installed once
// its file is written: whether launchd accepted the reload is not asked.

#include <string_view>

#include "../FileIo.h"
#include "../InstallerViewModel.h"
#include "PropertyLists.h"

namespace pellix {

Task<StepResult> InstallerViewModel::installScheduledScanners(std::string pellixDir) {
    // The always-on service step has created this folder; if it could not, every write fails.
    const std::string agentsFolder = launchAgentsFolder(homeDirectory());
    int installed = 0;
    for (const ScannerJob& job : kScannerJobs) {
        std::string interpreter = kBashPath;
        // Looked up right before the one job that needs it, whatever became of the others.
        if (job.runByPython) interpreter = co_await findPython3();

        const std::string plist = agentsFolder + "/" + jobLabel(job.labelSuffix) + ".plist";
        const std::string text = scannerPropertyList(job, interpreter, pellixDir, homeDirectory());
        if (writeFileAtomically(plist, text)) continue;
        co_await shellCommand("launchctl unload " + plist + " 2>/dev/null; launchctl load " +
                              plist);
        ++installed;
    }
    if (installed == static_cast<int>(kScannerJobs.size())) {
        co_return StepResult{StepStatus::success, "3 scheduled scanners active"};
    }
    co_return StepResult{StepStatus::warning, std::to_string(installed) + "/3 scanners installed"};
}

}  // namespace pellix
