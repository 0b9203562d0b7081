// Lets the host's main agent spawn Pellix. Optional for the install, so every failure here is a
// warning and the run goes on; a change the host's validator rejects is not written.

#include "InstallWorkers.h"
#include "config/ConfigEdits.h"
#include "config/ConfigTransaction.h"

namespace pellix::steps {

Task<StepResult> addToAllowlist(WorkerContext context, std::string configPath) {
    const Host& host = context.host;
    const ConfigValidator& validator = context.validator;
    auto job = [&validator, &host, configPath] {
        return editConfigFile(
            configPath, allowPellix,
            ConfigChangeOptions{ConfigBackup::takeBeforeWriting, validator, host.plan()});
    };
    const ConfigChangeOutcome outcome =
        co_await runBlocking(host.platform().runBlockingJob, std::move(job));
    switch (outcome.result) {
        case ConfigEditResult::unreadable:
            co_return StepResult{StepStatus::warning, "Cannot read openclaw.json for allowlist"};
        case ConfigEditResult::rejected:
            context.record.allowlistRefused = outcome.verdict;
            co_return StepResult{StepStatus::warning, "Failed to save allowlist change"};
        case ConfigEditResult::writeFailed:
            co_return StepResult{StepStatus::warning, "Failed to save allowlist change"};
        case ConfigEditResult::unchanged:
            co_return StepResult{StepStatus::success, "Already in allowlist"};
        case ConfigEditResult::written:
            break;
    }
    co_return StepResult{StepStatus::success, "Added to main agent's spawn allowlist"};
}

}  // namespace pellix::steps
