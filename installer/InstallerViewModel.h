#pragma once
// InstallerViewModel: the installer's one observable object. It holds the wizard's published
// state and runs the install pipeline; where things are (OpenClawLayout), the machine (Host) and
// the work of each step (InstallWorkers) live in units of their own that it is given.
// Use it from one thread only (the UI thread in the window, the main thread in a command);
// blocking work leaves that thread only through the platform's executor and always comes back.

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "Choices.h"
#include "Host.h"
#include "InstallRecord.h"
#include "InstallWorkers.h"
#include "InstallerTypes.h"
#include "OpenClawLayout.h"
#include "Platform.h"
#include "Task.h"

namespace pellix {

enum class Property { phase, steps, progress, errorMessage, scanPreset, modelChoice };

class InstallerViewModel {
public:
    using Observer = std::function<void(Property)>;
    using ObserverId = std::uint64_t;

    explicit InstallerViewModel(Platform platform = {}, InstallWorkers workers = {});
    InstallerViewModel(const InstallerViewModel&) = delete;
    InstallerViewModel& operator=(const InstallerViewModel&) = delete;

    // The published state. Every setter tells the will-change observers, stores, then tells the
    // did-change observers.
    InstallerPhase phase() const { return phase_; }
    const std::vector<InstallStep>& steps() const { return steps_; }
    double progress() const { return progress_; }
    const std::string& errorMessage() const { return errorMessage_; }
    const std::string& scanPreset() const { return scanPreset_; }
    const std::string& modelChoice() const { return modelChoice_; }
    Choices choices() const { return {scanPreset_, modelChoice_}; }

    void setPhase(InstallerPhase phase);
    void setSteps(std::vector<InstallStep> steps);
    void setProgress(double progress);
    void setErrorMessage(std::string message);
    void setScanPreset(std::string preset);
    void setModelChoice(std::string model);

    // Will-change observers hear of a change before the new value is stored (the screens queue a
    // refresh); did-change observers after it (the terminal prints from them).
    ObserverId addWillChangeObserver(Observer observer);
    ObserverId addDidChangeObserver(Observer observer);
    void removeObserver(ObserverId id);

    // OpenClaw discovery, evaluated afresh on every call.
    std::string openclawHome() const { return layout_.openclawHome(); }
    bool openclawExists() const { return layout_.openclawExists(); }
    std::optional<std::string> workspace() const { return layout_.workspace(); }
    std::string configFile() const { return layout_.configFile(); }

    const OpenClawLayout& layout() const { return layout_; }
    Host& host() { return host_; }
    // What the last run found out besides its rows (the form of the entry, the host's verdicts);
    // not published: read it once the run has ended.
    const InstallRecord& record() const { return record_; }

    // Shows the checklist and starts the install; returns once the run is under way (with the
    // inline executor, once it has ended). A run holds the OpenClaw home's lock from start to
    // end: when another installer holds it, the run changes nothing and ends in the error phase.
    void startInstall();
    // Whether a run started by startInstall has not ended yet.
    bool installRunning() const { return phase_ == InstallerPhase::installing; }
    // Asks the run under way to stop before its next row; the row in progress is finished first,
    // so a running command is never abandoned. The run then ends in the error phase.
    void requestStop() { stopRequested_ = installRunning(); }
    bool stopRequested() const { return stopRequested_; }

private:
    template <typename T>
    void publish(Property property, T& field, T value);
    void notify(const std::vector<std::pair<ObserverId, Observer>>& observers, Property property);

    // The pipeline (InstallPipeline.cpp).
    Task<void> runGuarded();
    Task<void> runInstall();
    void updateStep(int index, StepStatus status, const std::string& detail = "");
    bool checkOpenClaw();
    std::optional<std::string> detectWorkspace();
    Task<bool> installAgentFiles(std::string pellixDir);
    void createSessionStore();
    Task<bool> registerAgentStep();
    void createOpsDirectories(const std::string& pellixDir);
    Task<void> restartGateway();
    Task<void> writeInstallReceipt(std::string workspace, std::string pellixDir);
    void beginStep(int row);
    void finishStep(int row, const StepResult& result);
    void stopWithError(int row, const std::string& detail, std::string message);

    // The workers, each a call of the one in `workers_` with this run's context.
    WorkerContext workerContext() { return {choices(), layout_, host_, validator_, record_}; }
    Task<StepResult> registerPellixAgent(std::string configPath);
    Task<StepResult> addToAllowlist(std::string configPath);
    Task<StepResult> installLaunchdService(std::string pellixDir);
    Task<StepResult> installScheduledScanners(std::string pellixDir);
    Task<StepResult> verifyInstall(std::string pellixDir);

    OpenClawLayout layout_;
    Host host_;
    InstallWorkers workers_;
    // Made once, so a host without a validator is asked only once per view model.
    ConfigValidator validator_;
    InstallRecord record_;
    // A dry run's agent tree: the folders its copy would bring, for the ops/ step.
    std::vector<std::string> plannedTreeFolders_;

    InstallerPhase phase_ = InstallerPhase::welcome;
    std::vector<InstallStep> steps_;
    double progress_ = 0.0;
    std::string errorMessage_;
    std::string scanPreset_{kDefaultScanPreset};
    std::string modelChoice_{kDefaultModel};
    bool stopRequested_ = false;

    std::vector<std::pair<ObserverId, Observer>> willChange_;
    std::vector<std::pair<ObserverId, Observer>> didChange_;
    ObserverId nextObserverId_ = 1;
};

}  // namespace pellix
