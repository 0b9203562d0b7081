// Temporary: stand-ins for the openclaw.json operations that the status, uninstall and
// restore-config commands call, until the core's own definitions land. No backup of openclaw.json.
// Removed in the commit that merges the real ones.

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>

#include "FileIo.h"
#include "OpenClawConfig.h"

namespace pellix {

namespace {

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

}  // namespace pellix
