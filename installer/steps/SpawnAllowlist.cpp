// Lets the host's main agent spawn Pellix. Optional for the install, so every failure here is a
// warning and the run goes on.

#include <algorithm>
#include <exception>
#include <optional>
#include <string>

#include "../InstallerViewModel.h"
#include "ConfigDocument.h"
#include "ConfigEdits.h"

namespace pellix {

using nlohmann::json;

namespace {

constexpr const char* kPellix = "pellix";
constexpr const char* kCannotRead = "Cannot read openclaw.json for allowlist";
constexpr const char* kCannotSave = "Failed to save allowlist change";
constexpr const char* kAlreadyAllowed = "Already in allowlist";

// "id" wins outright over "name": an entry with another id is never the main agent, whatever
// its name says.
std::string identity(const json& entry) {
    for (const char* key : {"id", "name"}) {
        const auto it = entry.find(key);
        if (it != entry.end() && it->is_string()) return it->get<std::string>();
    }
    return "";
}

json objectOrEmpty(const json& entry, const char* key) {
    const auto it = entry.find(key);
    return it != entry.end() && it->is_object() ? *it : json::object();
}

// A list with anything but names in it cannot be trusted, so it is started afresh.
json allowAgentsOf(const json& subagents) {
    const auto it = subagents.find("allowAgents");
    if (it == subagents.end() || !it->is_array()) return json::array();
    const bool onlyNames =
        std::all_of(it->begin(), it->end(), [](const json& name) { return name.is_string(); });
    return onlyNames ? *it : json::array();
}

}  // namespace

bool allowPellix(json& document) {
    AgentList list = findAgentList(document);
    const auto main = std::find_if(list.entries.begin(), list.entries.end(),
                                   [](const json& entry) { return identity(entry) == "main"; });
    if (main == list.entries.end()) return false;

    json subagents = objectOrEmpty(*main, "subagents");
    json allowAgents = allowAgentsOf(subagents);
    if (std::find(allowAgents.begin(), allowAgents.end(), kPellix) != allowAgents.end()) {
        return false;
    }
    allowAgents.push_back(kPellix);
    subagents["allowAgents"] = std::move(allowAgents);
    (*main)["subagents"] = std::move(subagents);
    storeAgentList(document, std::move(list));
    return true;
}

StepResult InstallerViewModel::addToAllowlist(const std::string& configPath) {
    std::optional<json> document = loadConfig(configPath);
    if (!document) return {StepStatus::warning, kCannotRead};
    try {
        if (!allowPellix(*document)) return {StepStatus::success, kAlreadyAllowed};
    } catch (const std::exception&) {
        // Only running out of memory gets here; the file has not been touched.
        return {StepStatus::warning, kCannotSave};
    }
    if (!saveConfig(configPath, *document)) return {StepStatus::warning, kCannotSave};
    return {StepStatus::success, "Added to main agent's spawn allowlist"};
}

}  // namespace pellix
