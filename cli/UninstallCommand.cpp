// `uninstall`: the install undone, part by part, each part reported; the session store stays
// unless --purge. A home with nothing of the agent in it is left exactly as it is.

#include <filesystem>
#include <optional>

#include "AgentStatus.h"
#include "Commands.h"
#include "JsonOutput.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

struct PartResult {
    std::string name;  // what the line is about: a job label, a path, "openclaw.json"
    StepStatus status = StepStatus::success;
    std::string detail;
};

struct Uninstall {
    bool wasInstalled = false;
    std::vector<PartResult> jobs;
    std::vector<PartResult> agentFiles;
    std::optional<ConfigRemoval> config;
    PartResult sessionStore;
    std::optional<ShellResult> gatewayRestart;

    std::vector<std::string> problems() const;
};

std::vector<std::string> Uninstall::problems() const {
    std::vector<std::string> found;
    const auto collect = [&found](const PartResult& part) {
        if (part.status == StepStatus::failed) found.push_back(part.name + ": " + part.detail);
    };
    for (const PartResult& part : jobs) collect(part);
    for (const PartResult& part : agentFiles) collect(part);
    if (config == ConfigRemoval::unreadable) {
        found.push_back("openclaw.json: cannot be read as JSON; left as it was");
    } else if (config == ConfigRemoval::writeFailed) {
        found.push_back("openclaw.json: could not be written; left as it was");
    }
    collect(sessionStore);
    return found;
}

std::string_view toString(ConfigRemoval removal) {
    switch (removal) {
        case ConfigRemoval::removed:
            return "removed";
        case ConfigRemoval::restoredBackup:
            return "restoredBackup";
        case ConfigRemoval::nothingToRemove:
            return "nothingToRemove";
        case ConfigRemoval::unreadable:
            return "unreadable";
        default:
            return "writeFailed";
    }
}

std::vector<PartResult> removeAgentTrees(const InstallerViewModel& model) {
    std::vector<PartResult> results;
    // One tree per workspace at most; the bound only guards against a tree that will not go.
    for (int round = 0; round < 64; ++round) {
        const auto pellixDir = installedPellixDir(model);
        if (!pellixDir) break;
        std::error_code error;
        // remove_all removes a symbolic link itself, never what it points to.
        fs::remove_all(fs::path(*pellixDir), error);
        if (error) {
            results.push_back({*pellixDir, StepStatus::failed, error.message()});
            break;
        }
        results.push_back({*pellixDir, StepStatus::success, "removed"});
    }
    return results;
}

PartResult handleSessionStore(const std::string& store, bool purge) {
    std::error_code error;
    if (!purge) {
        const bool present = fs::exists(fs::symlink_status(fs::path(store), error));
        return {store, StepStatus::success,
                present ? "kept (--purge deletes it)" : "not there, nothing to keep"};
    }
    fs::remove_all(fs::path(store), error);
    if (error) return {store, StepStatus::failed, "could not be deleted: " + error.message()};
    std::error_code ignored;
    // The agent's folder goes too, but only when the store was all it held.
    fs::remove(fs::path(store).parent_path(), ignored);
    return {store, StepStatus::success, "deleted"};
}

Uninstall uninstall(InstallerViewModel& model, bool purge) {
    Uninstall result;
    result.wasInstalled = gatherAgentStatus(model, false).installed();
    if (result.wasInstalled) {
        for (const JobRemoval& removal : model.removeJobs().runToCompletion()) {
            result.jobs.push_back({removal.label,
                                   removal.removed ? StepStatus::success : StepStatus::failed,
                                   removal.removed ? "stopped and removed" : removal.detail});
        }
        result.agentFiles = removeAgentTrees(model);
        // A home without openclaw.json has no entry to take out: nothingToRemove, not unreadable.
        result.config = removePellixFromConfig(model.configFile());
    }
    result.sessionStore = handleSessionStore(model.sessionsDirectory(), purge);
    // Only a changed host needs its gateway to pick up the change.
    if (result.wasInstalled) {
        result.gatewayRestart = model.restartOpenClawGateway().runToCompletion();
    }
    return result;
}

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
        default:
            return "could not be written; left as it was";
    }
}

void printLine(const Console& console, StepStatus status, const std::string& text) {
    console.out << "  " << statusMark(status, console.colour) << ' ' << text << '\n';
}

void printUninstall(const Console& console, const Uninstall& result, bool purge) {
    for (const PartResult& part : result.jobs) {
        printLine(console, part.status, part.name + ": " + part.detail);
    }
    for (const PartResult& part : result.agentFiles) {
        printLine(console, part.status, "agent files " + part.name + ": " + part.detail);
    }
    if (result.config) {
        const bool ok = *result.config != ConfigRemoval::unreadable &&
                        *result.config != ConfigRemoval::writeFailed;
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
            const std::string said = firstLine(result.gatewayRestart->output);
            printLine(console, StepStatus::warning,
                      "OpenClaw gateway restart failed" + (said.empty() ? "" : " (" + said + ")") +
                          "; run 'openclaw gateway restart' yourself");
        }
    }
}

std::string uninstallJson(const Uninstall& result, const std::string& configFile) {
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
    parts("jobs", result.jobs);
    parts("agentFiles", result.agentFiles);
    json.key("config").beginObject();
    json.key("path").text(configFile);
    json.key("outcome").textOrNull(
        result.config ? std::optional(std::string(toString(*result.config))) : std::nullopt);
    json.endObject();
    json.key("sessionStore").beginObject();
    json.key("path").text(result.sessionStore.name);
    json.key("detail").text(result.sessionStore.detail);
    json.endObject();
    json.key("gatewayRestart");
    if (result.gatewayRestart) {
        json.beginObject();
        json.key("status").integer(result.gatewayRestart->status);
        json.key("output").text(result.gatewayRestart->output);
        json.endObject();
    } else {
        json.null();
    }
    json.key("problems").beginArray();
    for (const std::string& problem : problems) json.text(problem);
    json.endArray().endObject();
    return json.str();
}

}  // namespace

int runUninstall(const CommandOptions& options, InstallerViewModel& model, const Console& console) {
    const std::string home = model.openclawHome();
    std::optional<HomeLock> lock;
    if (!lockHome(home, lock, options, console, "uninstalled")) return toInt(ExitCode::failed);
    const Uninstall result = uninstall(model, options.purge);
    const auto problems = result.problems();
    if (options.json) {
        console.out << uninstallJson(result, model.configFile());
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
