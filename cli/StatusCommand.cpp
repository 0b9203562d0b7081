// `status`: what of the agent is installed and what is wrong with it, for people and scripts.

#include "Commands.h"
#include "JsonOutput.h"
#include "lifecycle/AgentStatus.h"
#include "steps/RequiredAgentFiles.h"

namespace pellix {

namespace {

constexpr std::size_t kRequiredCount = std::size(kRequiredAgentFiles);

void writeJob(JsonOutput& json, const JobState& job) {
    json.beginObject();
    json.key("label").text(job.label);
    json.key("fileInstalled").boolean(job.fileInstalled);
    json.key("loaded").boolean(job.loaded);
    json.key("running").boolean(job.running);
    json.key("pid");
    if (job.pid) {
        json.integer(*job.pid);
    } else {
        json.null();
    }
    json.key("lastRun").textOrNull(job.lastRun.empty() ? std::nullopt
                                                       : std::optional<std::string>(job.lastRun));
    json.endObject();
}

void writeConfig(JsonOutput& json, const PellixConfigState& config) {
    json.key("config").beginObject();
    json.key("readable").boolean(config.readable);
    json.key("registered").boolean(config.registered);
    json.key("form").textOrNull(config.registered ? std::optional(config.form) : std::nullopt);
    json.key("model").textOrNull(config.registered ? std::optional(config.model) : std::nullopt);
    // The interval as the file writes it, so a number too large for a double stays exact.
    json.key("heartbeatIntervalMinutes");
    if (config.heartbeatMinutes.empty()) {
        json.null();
    } else {
        json.numberText(config.heartbeatMinutes);
    }
    json.key("hasMainAgent").boolean(config.hasMainAgent);
    json.key("allowlisted").boolean(config.allowlisted);
    json.endObject();
}

std::optional<std::string> nonEmpty(const std::string& text) {
    return text.empty() ? std::nullopt : std::optional(text);
}

// What the last install recorded: the version, the choices, the receipt, what drifted since.
void writeInstallRecord(JsonOutput& json, const AgentStatus& status) {
    const std::optional<Receipt>& receipt = status.receipt.receipt;
    json.key("version").beginObject();
    json.key("installed").textOrNull(status.agentVersion());
    json.key("shipped").textOrNull(status.shippedAgentVersion);
    json.key("upgradeAvailable").boolean(status.upgradeAvailable());
    json.endObject();
    json.key("choices");
    if (receipt) {
        json.beginObject();
        json.key("scanPreset").textOrNull(nonEmpty(receipt->scanPreset));
        json.key("modelChoice").textOrNull(nonEmpty(receipt->modelChoice));
        json.endObject();
    } else {
        json.null();
    }
    json.key("receipt").beginObject();
    json.key("path").text(status.receiptFile);
    json.key("state").text(toString(status.receipt.state));
    json.key("schemaVersion");
    if (status.receipt.schemaVersion > 0) {
        json.integer(status.receipt.schemaVersion);
    } else {
        json.null();
    }
    json.key("installerVersion")
        .textOrNull(receipt ? nonEmpty(receipt->installerVersion) : std::nullopt);
    json.key("installedAt").textOrNull(receipt ? nonEmpty(receipt->installedAt) : std::nullopt);
    json.endObject();
    json.key("drift").beginObject();
    json.key("modified").beginArray();
    for (const std::string& file : status.drift.modified) json.text(file);
    json.endArray();
    json.key("missing").beginArray();
    for (const std::string& file : status.drift.missing) json.text(file);
    json.endArray();
    json.endObject();
    json.key("opsPresent").boolean(status.opsPresent);
    json.key("interruptedReinstall").textOrNull(status.setAsideTree);
}

std::string statusJson(const AgentStatus& status) {
    JsonOutput json;
    json.beginObject();
    json.key("installed").boolean(status.installed());
    json.key("healthy").boolean(status.installed() && status.problems.empty());
    json.key("changed").boolean(false);
    json.key("openclawHome").text(status.openclawHome);
    json.key("configFile").text(status.configFile);
    json.key("pellixDir").textOrNull(status.pellixDir);
    json.key("missingFiles").beginArray();
    for (const std::string& file : status.missingFiles) json.text(file);
    json.endArray();
    writeConfig(json, status.config);
    json.key("serviceManager").text(status.serviceManager);
    json.key("jobs").beginArray();
    for (const JobState& job : status.jobs) writeJob(json, job);
    json.endArray();
    json.key("sessionStore").beginObject();
    json.key("path").text(status.sessionStore);
    json.key("present").boolean(status.sessionStorePresent);
    json.endObject();
    json.key("backup");
    if (status.backup) {
        json.beginObject();
        json.key("path").text(status.backup->path);
        json.key("takenAt").text(status.backup->takenAt);
        json.endObject();
    } else {
        json.null();
    }
    json.key("configValidation").beginObject();
    json.key("verdict").text(toString(status.validation.kind));
    json.key("detail").text(status.validation.reason);
    json.endObject();
    writeInstallRecord(json, status);
    json.key("problems").beginArray();
    for (const std::string& problem : status.problems) json.text(problem);
    json.endArray();
    json.endObject();
    return json.str();
}

std::string describeJob(const JobState& job) {
    std::string text = job.label + ": " + (job.loaded ? "loaded" : "not loaded");
    if (job.running) {
        text += ", running";
    } else if (job.alwaysOn) {
        text += ", not running";
    }
    if (job.pid) text += " (pid " + std::to_string(*job.pid) + ")";
    if (!job.lastRun.empty()) text += ", last run " + job.lastRun;
    if (!job.fileInstalled) text += ", job file missing";
    return text;
}

std::string describeConfig(const PellixConfigState& config) {
    if (!config.readable) return "cannot be read";
    std::string text = config.registered ? "registered in " + config.form : "not registered";
    if (config.registered) {
        text += " (model " + (config.model.empty() ? std::string("not set") : config.model);
        if (!config.heartbeatMinutes.empty()) text += ", every " + config.heartbeatMinutes + " min";
        text += ")";
    }
    return text + (config.allowlisted ? "; in the main agent's allowAgents"
                                      : "; not in the main agent's allowAgents");
}

std::string describeVersion(const AgentStatus& status) {
    std::string text = status.agentVersion().value_or("not known");
    if (status.upgradeAvailable()) {
        text += " (the installer has " + *status.shippedAgentVersion + ": run install to upgrade)";
    }
    return text;
}

std::string describeReceipt(const AgentStatus& status) {
    const ReceiptRead& read = status.receipt;
    switch (read.state) {
        case ReceiptState::missing:
            return "none";
        case ReceiptState::unreadable:
            return status.receiptFile + " (not readable; ignored)";
        case ReceiptState::newer:
            return status.receiptFile + " (schema " + std::to_string(read.schemaVersion) +
                   ", from a newer installer; ignored)";
        case ReceiptState::current:
        case ReceiptState::older:
            break;
    }
    return status.receiptFile + " (installed " + read.receipt->installedAt +
           " by pellix-installer " + read.receipt->installerVersion + ")";
}

void printStatus(std::ostream& out, const AgentStatus& status, bool colour) {
    out << "Pellix in " << status.openclawHome << "\n";

    out << "  Agent files:    "
        << (status.pellixDir
                ? *status.pellixDir + " (" +
                      std::to_string(kRequiredCount - status.missingFiles.size()) + " of " +
                      std::to_string(kRequiredCount) + " required files present)"
                : std::string("not installed"))
        << "\n";
    out << "  openclaw.json:  " << describeConfig(status.config) << "\n";
    out << "  Jobs (" << status.serviceManager << "):\n";
    for (const JobState& job : status.jobs) out << "    " << describeJob(job) << "\n";
    out << "  Session store:  " << status.sessionStore
        << (status.sessionStorePresent ? "" : " (missing)") << "\n";
    out << "  Backup:         "
        << (status.backup ? status.backup->path + " (taken " + status.backup->takenAt + ")"
                          : std::string("none"))
        << "\n";
    out << "  Config check:   " << toString(status.validation.kind)
        << (status.validation.reason.empty() ? "" : ": " + status.validation.reason) << "\n";
    out << "  Receipt:        " << describeReceipt(status) << "\n";
    out << "  Version:        " << describeVersion(status) << "\n";
    if (status.receipt.receipt) {
        out << "  Choices:        scan " << status.receipt.receipt->scanPreset << ", model "
            << status.receipt.receipt->modelChoice << "\n";
    }
    if (status.problems.empty()) {
        out << "Healthy.\n";
        return;
    }
    out << status.problems.size() << (status.problems.size() == 1 ? " problem:\n" : " problems:\n");
    for (const std::string& problem : status.problems) {
        out << "  " << statusMark(StepStatus::failed, colour) << ' ' << problem << "\n";
    }
}

}  // namespace

int statusCommand(const CommandOptions& options, Platform platform, const Console& console) {
    const OpenClawLayout layout(platform);
    Host host(std::move(platform));
    const AgentStatus status = gatherAgentStatus(layout, host).runToCompletion();
    if (options.json) {
        console.out << statusJson(status);
    } else if (!status.installed()) {
        console.out << "Pellix is not installed in " << status.openclawHome << ".\n";
    } else {
        printStatus(console.out, status, console.colour);
    }
    if (!status.installed()) return toInt(ExitCode::notInstalled);
    return toInt(status.problems.empty() ? ExitCode::done : ExitCode::failed);
}

}  // namespace pellix
