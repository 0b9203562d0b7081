#include "InstallerViewModel.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

namespace fs = std::filesystem;

namespace pellix {

InstallerViewModel::InstallerViewModel(Platform platform) : platform_(std::move(platform)) {}

template <typename T>
void InstallerViewModel::publish(Property property, T& field, T value) {
    notify(willChange_, property);
    field = std::move(value);
    notify(didChange_, property);
}

void InstallerViewModel::notify(const std::vector<std::pair<ObserverId, Observer>>& observers,
                                Property property) {
    // Copied so an observer may add or remove observers while being told.
    const auto snapshot = observers;
    for (const auto& [id, observer] : snapshot) observer(property);
}

void InstallerViewModel::setPhase(InstallerPhase phase) {
    publish(Property::phase, phase_, phase);
}
void InstallerViewModel::setSteps(std::vector<InstallStep> steps) {
    publish(Property::steps, steps_, std::move(steps));
}
void InstallerViewModel::setProgress(double progress) {
    publish(Property::progress, progress_, progress);
}
void InstallerViewModel::setErrorMessage(std::string message) {
    publish(Property::errorMessage, errorMessage_, std::move(message));
}
void InstallerViewModel::setScanPreset(std::string preset) {
    publish(Property::scanPreset, scanPreset_, std::move(preset));
}
void InstallerViewModel::setModelChoice(std::string model) {
    publish(Property::modelChoice, modelChoice_, std::move(model));
}

InstallerViewModel::ObserverId InstallerViewModel::addWillChangeObserver(Observer observer) {
    willChange_.emplace_back(nextObserverId_, std::move(observer));
    return nextObserverId_++;
}

InstallerViewModel::ObserverId InstallerViewModel::addDidChangeObserver(Observer observer) {
    didChange_.emplace_back(nextObserverId_, std::move(observer));
    return nextObserverId_++;
}

void InstallerViewModel::removeObserver(ObserverId id) {
    const auto matches = [id](const auto& entry) { return entry.first == id; };
    std::erase_if(willChange_, matches);
    std::erase_if(didChange_, matches);
}

void InstallerViewModel::updateStep(int index, StepStatus status, const std::string& detail) {
    // Negative indexes are refused too: no caller passes one, and a row outside the list is never
    // worth undefined behaviour.
    if (index < 0 || static_cast<std::size_t>(index) >= steps_.size()) return;
    auto rows = steps_;
    rows[static_cast<std::size_t>(index)].status = status;
    if (!detail.empty()) rows[static_cast<std::size_t>(index)].detail = detail;
    setSteps(std::move(rows));
    setProgress(static_cast<double>(index + 1) / static_cast<double>(steps_.size()));
}

std::string InstallerViewModel::openclawHome() const {
    if (auto value = platform_.environment("OPENCLAW_HOME")) return *value;
    return homeDirectory() + "/.openclaw";
}

bool InstallerViewModel::openclawExists() const {
    std::error_code error;
    return fs::exists(fs::path(openclawHome()), error);
}

std::string InstallerViewModel::configFile() const {
    return openclawHome() + "/openclaw.json";
}

std::string InstallerViewModel::pellixDirIn(const std::string& workspace) {
    return workspace + "/agents/pellix-unified";
}

std::string InstallerViewModel::sessionsDirectory() const {
    return openclawHome() + "/agents/pellix/sessions";
}

std::optional<std::string> InstallerViewModel::workspace() const {
    const std::string home = openclawHome();
    std::error_code error;
    fs::directory_iterator entries(fs::path(home), error);
    if (error) return std::nullopt;

    std::vector<std::string> candidates;
    for (const fs::directory_entry& entry : entries) {
        const std::string name = entry.path().filename().string();
        if (!name.starts_with("workspace-")) continue;
        const std::string path = home + "/" + name;
        std::error_code statError;
        if (fs::is_directory(fs::path(path), statError)) candidates.push_back(path);
    }
    for (const std::string& path : candidates) {
        std::error_code statError;
        if (fs::exists(fs::path(pellixDirIn(path)), statError)) return path;
    }
    if (candidates.empty()) return std::nullopt;
    return candidates.front();
}

}  // namespace pellix
