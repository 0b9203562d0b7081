// `configure`: the installed agent's scan frequency and model changed in place.

#include "Commands.h"
#include "JsonOutput.h"
#include "PlanOutput.h"
#include "lifecycle/Configure.h"

namespace pellix {

namespace {

void writeChoices(JsonOutput& json, const char* key, const Choices& choices) {
    json.key(key).beginObject();
    json.key("scanPreset").text(choices.scanPreset);
    json.key("modelChoice").text(choices.modelChoice);
    json.endObject();
}

// What went wrong, in the install's words where the install has them; empty when nothing did.
std::string failure(const ConfigureReport& report) {
    if (!report.config) return "No Pellix entry in openclaw.json: run pellix-installer install";
    switch (*report.config) {
        case ConfigEditResult::unreadable:
            return "Cannot read openclaw.json";
        case ConfigEditResult::writeFailed:
            return "Failed to write openclaw.json";
        case ConfigEditResult::rejected:
            return "OpenClaw rejects the change (" + report.verdict.reason +
                   "); openclaw.json was left as it was";
        case ConfigEditResult::written:
        case ConfigEditResult::unchanged:
            break;
    }
    return {};
}

std::string configureJson(const ConfigureReport& report, const std::string& problem) {
    JsonOutput json;
    json.beginObject();
    json.key("configured").boolean(problem.empty());
    json.key("changed").boolean(report.changed());
    writeChoices(json, "before", report.before);
    writeChoices(json, "after", report.after);
    json.key("error").textOrNull(problem.empty() ? std::nullopt : std::optional(problem));
    writeGatewayRestart(json, report.gatewayRestart);
    json.endObject();
    return json.str();
}

void printConfigure(const Console& console, const ConfigureReport& report) {
    const Choices& after = report.after;
    if (!report.changed()) {
        console.out << "Nothing to change: scan " << after.scanPreset << ", model "
                    << after.modelChoice << " are in effect.\n";
        return;
    }
    console.out << "Pellix now scans " << after.scanPreset << " (every "
                << heartbeatMinutes(after.scanPreset) << " min) with " << after.modelChoice
                << " (was " << report.before.scanPreset << ", " << report.before.modelChoice
                << ").\n";
    if (report.gatewayRestart && report.gatewayRestart->status != 0) {
        console.out << gatewayRestartFailedLine(*report.gatewayRestart) << "\n";
    }
}

}  // namespace

int configureCommand(const CommandOptions& options, Platform platform, const Console& console) {
    const OpenClawLayout layout(platform);
    Host host(std::move(platform));
    Plan plan;
    if (options.dryRun) host.setPlan(&plan);
    ChoiceChange change;
    if (options.scanGiven) change.scanPreset = options.scanPreset;
    if (options.modelGiven) change.modelChoice = options.modelChoice;
    const ConfigureReport report = configureAgent(layout, host, change).runToCompletion();
    if (report.homeBusy)
        return reportBusyHome(layout.openclawHome(), options, console, "configured");
    if (!report.installed) {
        const std::string line = "Pellix is not installed in " + layout.openclawHome() +
                                 ": run pellix-installer install first.";
        if (options.dryRun) return reportPlan(console, options, plan, ExitCode::notInstalled, line);
        if (options.json) {
            JsonOutput json;
            json.beginObject();
            json.key("configured").boolean(false);
            json.key("changed").boolean(false);
            json.key("error").text(line);
            json.endObject();
            console.out << json.str();
        }
        console.err << line << "\n";
        return toInt(ExitCode::notInstalled);
    }
    const std::string problem = failure(report);
    if (options.dryRun) {
        return reportPlan(console, options, plan,
                          problem.empty() ? ExitCode::done : ExitCode::failed,
                          problem.empty() ? std::nullopt : std::optional(problem));
    }
    if (options.json) console.out << configureJson(report, problem);
    if (!problem.empty()) {
        console.err << problem << "\n";
        return toInt(ExitCode::failed);
    }
    if (!options.json) printConfigure(console, report);
    return toInt(ExitCode::done);
}

}  // namespace pellix
