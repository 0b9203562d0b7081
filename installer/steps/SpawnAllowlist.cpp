// Lets the host's main agent spawn Pellix. Optional for the install, so every failure here is a
// warning and the run goes on.

#include "InstallWorkers.h"
#include "config/ConfigEdits.h"
#include "config/ConfigTransaction.h"

namespace pellix::steps {

StepResult addToAllowlist(const WorkerContext&, const std::string& configPath) {
    const ConfigEditResult result =
        editConfigFile(configPath, allowPellix, ConfigBackup::takeBeforeWriting);
    switch (result) {
        case ConfigEditResult::unreadable:
            return {StepStatus::warning, "Cannot read openclaw.json for allowlist"};
        case ConfigEditResult::writeFailed:
            return {StepStatus::warning, "Failed to save allowlist change"};
        case ConfigEditResult::unchanged:
            return {StepStatus::success, "Already in allowlist"};
        case ConfigEditResult::written:
            break;
    }
    return {StepStatus::success, "Added to main agent's spawn allowlist"};
}

}  // namespace pellix::steps
