// `uninstall`: the core's uninstall, each part's result printed; the session store stays unless
// --purge.

#include <optional>

#include "Commands.h"
#include "JsonOutput.h"
#include "PlanOutput.h"
#include "lifecycle/Uninstall.h"

namespace pellix {

namespace {

std::string configLine(ConfigRemoval removal) {
    switch (removal) {
        case ConfigRemoval::removed:
            return "the Pellix entry and allowlist item taken out";
        case ConfigRemoval::restoredBackup:
            return "put back as it was before the install (the backup's bytes)";
        case ConfigRemoval::nothingToRemove:
            return "nothing of Pellix in it";
        case ConfigRemoval::unreadable:
            return "cannot be read as JSON; left as it was";
        case ConfigRemoval::rejected:
            return "OpenClaw rejects it without Pellix; left as it was";
        default:
            return "could not be written; left as it was";
    }
}

void printLine(const Console& console, StepStatus status, const std::string& text) {
    console.out << "  " << statusMark(status, console.colour) << ' ' << text << '\n';
}

void printUninstall(const Console& console, const UninstallReport& result, bool purge) {
    for (const PartResult& part : result.jobs) {
        printLine(console, part.status, part.name + ": " + part.detail);
    }
    for (const PartResult& part : result.agentFiles) {
        printLine(console, part.status, "agent files " + part.name + ": " + part.detail);
    }
    if (result.receipt) {
        printLine(console, result.receipt->status,
                  "receipt " + result.receipt->name + ": " + result.receipt->detail);
    }
    if (result.config) {
        const bool ok = *result.config != ConfigRemoval::unreadable &&
                        *result.config != ConfigRemoval::writeFailed &&
                        *result.config != ConfigRemoval::rejected;
        printLine(console, ok ? StepStatus::success : StepStatus::failed,
                  "openclaw.json: " + configLine(*result.config));
    }
    if (result.wasInstalled || purge) {
        printLine(console, result.sessionStore.status,
                  "session store " + result.sessionStore.name + ": " + result.sessionStore.detail);
    }
    if (result.gatewayRestart) {
        if (result.gatewayRestart->status == 0) {
            printLine(console, StepStatus::success, "OpenClaw gateway restarted");
        } else {
            printLine(console, StepStatus::warning,
                      gatewayRestartFailedLine(*result.gatewayRestart));
        }
    }
}

std::string uninstallJson(const UninstallReport& result, const std::string& configFile) {
    JsonOutput json;
    const auto parts = [&json](const char* key, const std::vector<PartResult>& list) {
        json.key(key).beginArray();
        for (const PartResult& part : list) {
            json.beginObject();
            json.key(key == std::string("jobs") ? "label" : "path").text(part.name);
            json.key("removed").boolean(part.status != StepStatus::failed);
            json.key("detail").text(part.status == StepStatus::failed ? part.detail : "");
            json.endObject();
        }
        json.endArray();
    };
    const auto problems = result.problems();
    json.beginObject();
    json.key("uninstalled").boolean(problems.empty());
    json.key("wasInstalled").boolean(result.wasInstalled);
    json.key("changed").boolean(result.changedAnything());
    parts("jobs", result.jobs);
    parts("agentFiles", result.agentFiles);
    json.key("receipt");
    if (result.receipt) {
        json.beginObject();
        json.key("path").text(result.receipt->name);
        json.key("removed").boolean(result.receipt->status != StepStatus::failed);
        json.endObject();
    } else {
        json.null();
    }
    json.key("config").beginObject();
    json.key("path").text(configFile);
    json.key("outcome").textOrNull(
        result.config ? std::optional(std::string(toString(*result.config))) : std::nullopt);
    json.endObject();
    json.key("sessionStore").beginObject();
    json.key("path").text(result.sessionStore.name);
    json.key("detail").text(result.sessionStore.detail);
    json.endObject();
    writeGatewayRestart(json, result.gatewayRestart);
    json.key("problems").beginArray();
    for (const std::string& problem : problems) json.text(problem);
    json.endArray().endObject();
    return json.str();
}

}  // namespace

int uninstallCommand(const CommandOptions& options, Platform platform, const Console& console) {
    const OpenClawLayout layout(platform);
    Host host(std::move(platform));
    Plan plan;
    if (options.dryRun) host.setPlan(&plan);
    const std::string home = layout.openclawHome();
    const UninstallReport result =
        uninstallAgent(layout, host, {.purge = options.purge}).runToCompletion();
    if (result.homeBusy) return reportBusyHome(home, options, console, "uninstalled");
    const auto problems = result.problems();
    if (options.dryRun) {
        return reportPlan(
            console, options, plan, problems.empty() ? ExitCode::done : ExitCode::failed,
            problems.empty() ? std::nullopt : std::optional("Would not remove: " + problems[0]));
    }
    if (options.json) {
        console.out << uninstallJson(result, layout.configFile());
    } else if (!result.wasInstalled && !options.purge) {
        console.out << "Pellix is not installed in " << home << "; nothing to do.\n";
    } else {
        console.out << "Removing Pellix from " << home << "\n";
        printUninstall(console, result, options.purge);
        if (result.wasInstalled && problems.empty()) console.out << "Pellix is uninstalled.\n";
    }
    for (const std::string& problem : problems) console.err << "Not removed: " << problem << '\n';
    return toInt(problems.empty() ? ExitCode::done : ExitCode::failed);
}

}  // namespace pellix
