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

std::string statusJson(const AgentStatus& status) {
    JsonOutput json;
    json.beginObject();
    json.key("installed").boolean(status.installed());
    json.key("healthy").boolean(status.installed() && status.problems.empty());
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
