// Registers the Pellix agent in openclaw.json. Failures here are fatal to the install: the host
// cannot run an agent it has no entry for.

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
constexpr const char* kCannotRead = "Cannot read openclaw.json";
constexpr const char* kCannotWrite = "Failed to write openclaw.json";

bool holdsString(const json& entry, const char* key, const char* expected) {
    const auto it = entry.find(key);
    return it != entry.end() && it->is_string() && it->get_ref<const std::string&>() == expected;
}

// Earlier installers, and people editing by hand, may have used either key for the agent.
bool isPellix(const json& entry) {
    return holdsString(entry, "name", kPellix) || holdsString(entry, "id", kPellix);
}

json pellixEntry(const std::string& modelChoice, const std::string& scanPreset) {
    const std::string model = modelIdentifier(modelChoice);
    return {
        {"name", kPellix},
        {"description", "Behavioral drift detection & AI conscience"},
        {"model", model},
        {"heartbeatIntervalMinutes", heartbeatMinutes(scanPreset)},
        {"heartbeatModel", model},
        {"agentsDir", "agents/pellix-unified"},
        {"tools", json::array({"read", "web_fetch", "exec", "message"})},
    };
}

}  // namespace

std::string modelIdentifier(const std::string& modelChoice) {
    if (modelChoice == "opus") return "anthropic/claude-opus-4-6";
    if (modelChoice == "haiku") return "anthropic/claude-haiku-3-5-20241022";
    return "anthropic/claude-sonnet-4-20250514";
}

int heartbeatMinutes(const std::string& scanPreset) {
    if (scanPreset == "vigilant") return 5;
    if (scanPreset == "relaxed") return 60;
    if (scanPreset == "daily") return 1440;
    return 15;
}

Registration registerAgent(json& document, const std::string& modelChoice,
                           const std::string& scanPreset) {
    AgentList list = findAgentList(document);
    if (std::any_of(list.entries.begin(), list.entries.end(), isPellix)) {
        return Registration::alreadyRegistered;
    }
    list.entries.push_back(pellixEntry(modelChoice, scanPreset));
    storeAgentList(document, std::move(list));
    return Registration::added;
}

StepResult InstallerViewModel::registerPellixAgent(const std::string& configPath) {
    std::optional<json> document = loadConfig(configPath);
    if (!document) return {StepStatus::failed, kCannotRead};

    const std::string model = modelChoice();
    const std::string preset = scanPreset();
    try {
        if (registerAgent(*document, model, preset) == Registration::alreadyRegistered) {
            return {StepStatus::success, "Already registered"};
        }
    } catch (const std::exception&) {
        // Only running out of memory gets here; the file has not been touched.
        return {StepStatus::failed, kCannotWrite};
    }
    if (!saveConfig(configPath, *document)) return {StepStatus::failed, kCannotWrite};
    return {StepStatus::success, "Registered with " + model + " model, " +
                                     std::to_string(heartbeatMinutes(preset)) + "m scan"};
}

}  // namespace pellix
