// Temporary: stand-ins for the core operations that the status, uninstall and restore-config
// commands call, until the core's own definitions land. launchd only, no backup of openclaw.json.
// Removed in the commit that merges the real ones.

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include <filesystem>

#include "FileIo.h"
#include "InstallerViewModel.h"
#include "OpenClawConfig.h"
#include "steps/PropertyLists.h"

namespace pellix {

namespace {

std::vector<std::string> jobLabels() {
    std::vector<std::string> labels{serviceJobLabel()};
    for (const ScannerJob& job : kScannerJobs) labels.push_back(jobLabel(job.labelSuffix));
    return labels;
}

bool isPellix(const rapidjson::Value& entry, const char* key) {
    return entry.IsObject() && entry.HasMember(key) && entry[key].IsString() &&
           std::string(entry[key].GetString()) == "pellix";
}

rapidjson::Value* agentList(rapidjson::Document& document) {
    if (!document.HasMember("agents") || !document["agents"].IsObject()) return nullptr;
    rapidjson::Value& agents = document["agents"];
    for (const char* key : {"items", "list"}) {
        if (agents.HasMember(key) && agents[key].IsArray()) return &agents[key];
    }
    return nullptr;
}

rapidjson::Value* allowAgents(rapidjson::Value& list) {
    for (auto& entry : list.GetArray()) {
        const bool main = isPellix(entry, "id") ? false
                          : entry.IsObject() && entry.HasMember("id") && entry["id"].IsString()
                              ? std::string(entry["id"].GetString()) == "main"
                              : entry.IsObject() && entry.HasMember("name") &&
                                    entry["name"].IsString() &&
                                    std::string(entry["name"].GetString()) == "main";
        if (!main) continue;
        if (!entry.HasMember("subagents") || !entry["subagents"].IsObject()) return nullptr;
        auto& subagents = entry["subagents"];
        if (!subagents.HasMember("allowAgents") || !subagents["allowAgents"].IsArray()) {
            return nullptr;
        }
        return &subagents["allowAgents"];
    }
    return nullptr;
}

bool parse(const std::string& configPath, rapidjson::Document& document) {
    const auto bytes = readWholeFile(configPath, 16 * 1024 * 1024);
    return bytes && !document.Parse(bytes->c_str()).HasParseError() && document.IsObject();
}

}  // namespace

PellixConfigState inspectPellixConfig(const std::string& configPath) {
    PellixConfigState state;
    rapidjson::Document document;
    if (!parse(configPath, document)) return state;
    state.readable = true;
    rapidjson::Value* list = agentList(document);
    if (!list) return state;
    for (auto& entry : list->GetArray()) {
        if (!isPellix(entry, "name") && !isPellix(entry, "id")) continue;
        state.registered = true;
        if (entry.HasMember("model") && entry["model"].IsString()) {
            state.model = entry["model"].GetString();
        }
        if (entry.HasMember("heartbeatIntervalMinutes") &&
            entry["heartbeatIntervalMinutes"].IsInt64()) {
            state.heartbeatMinutes = std::to_string(entry["heartbeatIntervalMinutes"].GetInt64());
        }
        break;
    }
    if (rapidjson::Value* allowed = allowAgents(*list)) {
        for (auto& name : allowed->GetArray()) {
            if (name.IsString() && std::string(name.GetString()) == "pellix") {
                state.allowlisted = true;
            }
        }
    }
    return state;
}

std::optional<ConfigBackupInfo> findConfigBackup(const std::string&) {
    return std::nullopt;
}

ConfigRemoval removePellixFromConfig(const std::string& configPath) {
    rapidjson::Document document;
    if (!parse(configPath, document)) return ConfigRemoval::unreadable;
    rapidjson::Value* list = agentList(document);
    if (!list) return ConfigRemoval::nothingToRemove;
    bool changed = false;
    if (rapidjson::Value* allowed = allowAgents(*list)) {
        for (auto it = allowed->Begin(); it != allowed->End();) {
            const bool match = it->IsString() && std::string(it->GetString()) == "pellix";
            it = match ? allowed->Erase(it) : it + 1;
            changed |= match;
        }
    }
    for (auto it = list->Begin(); it != list->End();) {
        const bool match = isPellix(*it, "name") || isPellix(*it, "id");
        it = match ? list->Erase(it) : it + 1;
        changed |= match;
    }
    if (!changed) return ConfigRemoval::nothingToRemove;
    rapidjson::StringBuffer buffer;
    rapidjson::PrettyWriter<rapidjson::StringBuffer> writer(buffer);
    document.Accept(writer);
    if (writeFileAtomically(configPath, buffer.GetString())) return ConfigRemoval::writeFailed;
    return ConfigRemoval::removed;
}

ConfigRestoreResult restoreConfigBackup(const std::string&) {
    return {ConfigRestore::noBackup, "", ""};
}

Task<std::string> InstallerViewModel::serviceManagerName() {
    co_return std::string("launchd");
}

Task<std::vector<JobState>> InstallerViewModel::describeJobs() {
    std::vector<JobState> jobs;
    for (const std::string& label : jobLabels()) {
        JobState job;
        job.label = label;
        job.alwaysOn = label == serviceJobLabel();
        std::error_code error;
        job.fileInstalled = std::filesystem::exists(
            launchAgentsFolder(homeDirectory()) + "/" + label + ".plist", error);
        const ShellResult print = co_await shellCommand("launchctl print gui/$(id -u)/" + label);
        job.loaded = print.status == 0;
        job.running = job.loaded && print.output.find("state = running") != std::string::npos;
        if (const auto at = print.output.find("pid = "); job.running && at != std::string::npos) {
            job.pid = std::stoll(print.output.substr(at + 6));
        }
        jobs.push_back(job);
    }
    co_return jobs;
}

Task<std::vector<JobRemoval>> InstallerViewModel::removeJobs() {
    std::vector<JobRemoval> removals;
    for (const std::string& label : jobLabels()) {
        const std::string plist = launchAgentsFolder(homeDirectory()) + "/" + label + ".plist";
        co_await shellCommand("launchctl bootout gui/$(id -u)/" + label + " 2>/dev/null");
        std::error_code error;
        std::filesystem::remove(plist, error);
        removals.push_back({label, !error, error ? error.message() : ""});
    }
    co_return removals;
}

}  // namespace pellix
