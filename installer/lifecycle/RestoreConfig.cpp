#include "lifecycle/RestoreConfig.h"

#include "files/HomeLock.h"
#include "plan/Plan.h"

namespace pellix {

Task<RestoreReport> restoreOpenClawConfig(const OpenClawLayout& layout, Host& host) {
    RestoreReport report;
    std::optional<HomeLock> lock;
    if (HomeLock::tryAcquire(layout.openclawHome(), lock) == HomeLock::Outcome::busy) {
        report.homeBusy = true;
        co_return report;
    }
    report.configFile = layout.configFile();
    if (Plan* plan = host.plan()) plan->beginStep("Restoring openclaw.json");
    auto restore = [configFile = report.configFile, plan = host.plan()] {
        return std::make_pair(findConfigBackup(configFile), restoreConfigBackup(configFile, plan));
    };
    auto restored = co_await runBlocking(host.platform().runBlockingJob, std::move(restore));
    report.backup = std::move(restored.first);
    report.result = std::move(restored.second);
    co_return report;
}

std::string_view toString(ConfigRestore outcome) {
    switch (outcome) {
        case ConfigRestore::restored:
            return "restored";
        case ConfigRestore::noBackup:
            return "noBackup";
        default:
            return "failed";
    }
}

}  // namespace pellix
