#include "lifecycle/Configure.h"

#include "OpenClawCommands.h"
#include "config/ConfigEdits.h"
#include "files/HomeLock.h"
#include "lifecycle/AgentStatus.h"
#include "lifecycle/Receipt.h"
#include "plan/Plan.h"

namespace pellix {

namespace {

// The choices in effect: the receipt's, else read back from the entry's values.
Choices choicesInEffect(const AgentStatus& status) {
    Choices choices;
    if (status.receipt.receipt && isScanPreset(status.receipt.receipt->scanPreset) &&
        isModel(status.receipt.receipt->modelChoice)) {
        choices.scanPreset = status.receipt.receipt->scanPreset;
        choices.modelChoice = status.receipt.receipt->modelChoice;
        return choices;
    }
    const Choices read = choicesOfEntry(status.config.model, status.config.heartbeatMinutes);
    if (isScanPreset(read.scanPreset)) choices.scanPreset = read.scanPreset;
    if (isModel(read.modelChoice)) choices.modelChoice = read.modelChoice;
    return choices;
}

void recordChoices(const std::string& openclawHome, const Choices& choices) {
    const std::string path = receiptPath(openclawHome);
    ReceiptRead read = readReceipt(path);
    if (!read.receipt) return;
    read.receipt->scanPreset = choices.scanPreset;
    read.receipt->modelChoice = choices.modelChoice;
    writeReceipt(path, *read.receipt);
}

}  // namespace

Task<ConfigureReport> configureAgent(const OpenClawLayout& layout, Host& host,
                                     ChoiceChange change) {
    ConfigureReport report;
    std::optional<HomeLock> lock;
    if (HomeLock::tryAcquire(layout.openclawHome(), lock) == HomeLock::Outcome::busy) {
        report.homeBusy = true;
        co_return report;
    }
    const AgentStatus status = co_await gatherAgentStatus(layout, host, false);
    report.installed = status.installed();
    if (!report.installed) co_return report;
    if (!status.config.readable) {
        report.config = ConfigEditResult::unreadable;
        co_return report;
    }
    report.registered = status.config.registered;
    if (!report.registered) co_return report;
    report.before = choicesInEffect(status);
    report.after = report.before;
    if (change.scanPreset) report.after.scanPreset = *change.scanPreset;
    if (change.modelChoice) report.after.modelChoice = *change.modelChoice;
    Plan* plan = host.plan();
    if (plan != nullptr) plan->beginStep("Changing the choices in openclaw.json");
    auto edit = [&layout, &host, plan, choices = report.after] {
        ConfigChangeOptions options;
        options.backup = ConfigBackup::takeBeforeWriting;
        options.validator = openclawValidator(host);
        options.plan = plan;
        return editConfigFile(
            layout.configFile(),
            [&choices](ConfigDocument& document) { return setPellixChoices(document, choices); },
            options);
    };
    const ConfigChangeOutcome outcome =
        co_await runBlocking(host.platform().runBlockingJob, std::move(edit));
    report.config = outcome.result;
    report.verdict = outcome.verdict;
    // Unchanged, the entry already holds what the receipt says.
    const std::string receipt = receiptPath(layout.openclawHome());
    if (report.changed() && plan != nullptr) {
        if (readReceipt(receipt).receipt) {
            plan->add(PlannedChange::Kind::file, receipt, "record the new choices in the receipt");
        }
    } else if (report.changed()) {
        auto record = [home = layout.openclawHome(), choices = report.after] {
            recordChoices(home, choices);
            return true;
        };
        co_await runBlocking(host.platform().runBlockingJob, std::move(record));
    }
    if (report.changed()) report.gatewayRestart = co_await host.restartOpenClawGateway();
    co_return report;
}

}  // namespace pellix
