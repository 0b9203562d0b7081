#include "InstallerViewModel.h"

#include <algorithm>

#include "OpenClawCommands.h"

namespace pellix {

InstallerViewModel::InstallerViewModel(Platform platform, InstallWorkers workers)
    : layout_(platform),
      host_(std::move(platform)),
      workers_(std::move(workers)),
      validator_(openclawValidator(host_)) {}

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
    auto rows = steps_;
    const std::optional<double> progress = applyStepUpdate(rows, index, status, detail);
    if (!progress) return;
    setSteps(std::move(rows));
    setProgress(*progress);
}

Task<StepResult> InstallerViewModel::registerPellixAgent(std::string configPath) {
    return workers_.registerPellixAgent(workerContext(), std::move(configPath));
}

Task<StepResult> InstallerViewModel::addToAllowlist(std::string configPath) {
    return workers_.addToAllowlist(workerContext(), std::move(configPath));
}

Task<StepResult> InstallerViewModel::installLaunchdService(std::string pellixDir) {
    return workers_.installLaunchdService(workerContext(), std::move(pellixDir));
}

Task<StepResult> InstallerViewModel::installScheduledScanners(std::string pellixDir) {
    return workers_.installScheduledScanners(workerContext(), std::move(pellixDir));
}

Task<StepResult> InstallerViewModel::verifyInstall(std::string pellixDir) {
    return workers_.verifyInstall(workerContext(), std::move(pellixDir));
}

}  // namespace pellix
