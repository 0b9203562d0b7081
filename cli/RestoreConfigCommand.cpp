// `restore-config`: openclaw.json as it was before the installer first changed it. The file it
// replaces is kept aside, so the restore can itself be undone.

#include <optional>
#include <sstream>

#include "Commands.h"
#include "JsonOutput.h"
#include "PlanOutput.h"
#include "lifecycle/RestoreConfig.h"

namespace pellix {

namespace {

std::string restoreJson(const std::string& configFile,
                        const std::optional<ConfigBackupInfo>& backup,
                        const ConfigRestoreResult& result) {
    JsonOutput json;
    json.beginObject();
    json.key("restored").boolean(result.outcome == ConfigRestore::restored);
    json.key("outcome").text(toString(result.outcome));
    json.key("changed").boolean(result.outcome == ConfigRestore::restored);
    json.key("configFile").text(configFile);
    json.key("backup");
    if (backup) {
        json.beginObject();
        json.key("path").text(backup->path);
        json.key("takenAt").text(backup->takenAt);
        json.endObject();
    } else {
        json.null();
    }
    json.key("keptAsidePath")
        .textOrNull(result.keptAsidePath.empty() ? std::nullopt
                                                 : std::optional(result.keptAsidePath));
    json.key("error").text(result.error);
    json.endObject();
    return json.str();
}

void reportOutcome(const Console& console, const std::string& configFile,
                   const std::optional<ConfigBackupInfo>& backup,
                   const ConfigRestoreResult& result) {
    switch (result.outcome) {
        case ConfigRestore::restored:
            console.out << "Restored " << configFile << " from the backup";
            if (backup) console.out << " taken " << backup->takenAt << " (" << backup->path << ")";
            console.out << ".\n";
            if (!result.keptAsidePath.empty()) {
                console.out << "The file it replaced is kept at " << result.keptAsidePath << ".\n";
            }
            break;
        case ConfigRestore::noBackup:
            console.err << "No backup of " << configFile
                        << " to restore: the installer has not changed it. Nothing was touched.\n";
            break;
        default:
            console.err << "Could not restore " << configFile << ": " << result.error
                        << ". The file was left as it was.\n";
    }
}

}  // namespace

int restoreConfigCommand(const CommandOptions& options, Platform platform, const Console& console) {
    const OpenClawLayout layout(platform);
    Host host(std::move(platform));
    Plan plan;
    if (options.dryRun) host.setPlan(&plan);
    const RestoreReport report = restoreOpenClawConfig(layout, host).runToCompletion();
    if (report.homeBusy) {
        return reportBusyHome(layout.openclawHome(), options, console, "restored");
    }
    const ConfigRestoreResult& result = report.result;
    if (options.dryRun) {
        std::ostringstream said;
        reportOutcome({said, said, false}, report.configFile, report.backup, result);
        const bool restored = result.outcome == ConfigRestore::restored;
        std::string error = said.str();
        if (!error.empty() && error.back() == '\n') error.pop_back();
        return reportPlan(console, options, plan, restored ? ExitCode::done : ExitCode::failed,
                          restored ? std::nullopt : std::optional(error));
    }
    if (options.json) {
        console.out << restoreJson(report.configFile, report.backup, result);
        if (result.outcome != ConfigRestore::restored) {
            reportOutcome({console.err, console.err, false}, report.configFile, report.backup,
                          result);
        }
    } else {
        reportOutcome(console, report.configFile, report.backup, result);
    }
    return toInt(result.outcome == ConfigRestore::restored ? ExitCode::done : ExitCode::failed);
}

}  // namespace pellix
