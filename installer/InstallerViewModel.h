#pragma once
// InstallerViewModel: the installer's one observable object. It holds the wizard's state, finds
// the OpenClaw installation and runs the install. Use it from one thread only (the UI thread in
// the window, the main thread in the headless mode); blocking work leaves that thread only through
// the platform's executor and always comes back to it.

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "InstallerTypes.h"
#include "Platform.h"
#include "Task.h"

namespace pellix {

class ServiceManager;

enum class Property { phase, steps, progress, errorMessage, scanPreset, modelChoice };

class InstallerViewModel {
public:
    using Observer = std::function<void(Property)>;
    using ObserverId = std::uint64_t;

    explicit InstallerViewModel(Platform platform = {});
    InstallerViewModel(const InstallerViewModel&) = delete;
    InstallerViewModel& operator=(const InstallerViewModel&) = delete;
    virtual ~InstallerViewModel() = default;

    InstallerPhase phase() const { return phase_; }
    const std::vector<InstallStep>& steps() const { return steps_; }
    double progress() const { return progress_; }
    const std::string& errorMessage() const { return errorMessage_; }
    const std::string& scanPreset() const { return scanPreset_; }
    const std::string& modelChoice() const { return modelChoice_; }

    void setPhase(InstallerPhase phase);
    void setScanPreset(std::string preset);
    void setModelChoice(std::string model);

    // Will-change observers hear of a change before the new value is stored (the screens queue a
    // refresh); did-change observers after it (the headless mode prints from them).
    ObserverId addWillChangeObserver(Observer observer);
    ObserverId addDidChangeObserver(Observer observer);
    void removeObserver(ObserverId id);

    // OpenClaw discovery: evaluated afresh on every call, nothing cached.
    std::string openclawHome() const;
    bool openclawExists() const;
    std::optional<std::string> workspace() const;
    std::string configFile() const;
    // Where the agent's tree goes in a workspace, and its session store in the OpenClaw home.
    static std::string pellixDirIn(const std::string& workspace);
    std::string sessionsDirectory() const;

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

    const Platform& platform() const { return platform_; }

    // The agent's background jobs, for the status and uninstall commands. The service manager
    // (launchd where `launchctl` is on the children's PATH, else the user's systemd) is chosen
    // once per view model. Jobs come in install order: the service, then the three scanners.
    Task<std::string> serviceManagerName();
    Task<std::vector<JobState>> describeJobs();
    // Stops and removes the four jobs and their files; a job that is not there counts as removed.
    Task<std::vector<JobRemoval>> removeJobs();

    // Runs one of the host's commands (`openclaw ...`) through the install's own runner: the same
    // shell, PATH, HOME and executor.
    Task<ShellResult> runHostCommand(std::string command) {
        return shellCommand(std::move(command));
    }
    // `openclaw gateway restart`, with the longer time limit a gateway restart gets.
    Task<ShellResult> restartOpenClawGateway();

protected:
    // The pipeline and its workers. Protected rather than private so tests can drive each alone;
    // the workers are virtual so a test can stand one in with a chosen result.
    Task<void> runInstall();
    void updateStep(int index, StepStatus status, const std::string& detail = "");
    void setSteps(std::vector<InstallStep> steps);
    void setProgress(double progress);
    void setErrorMessage(std::string message);

    virtual StepResult registerPellixAgent(const std::string& configPath);
    virtual StepResult addToAllowlist(const std::string& configPath);
    Task<ShellResult> shellCommand(std::string command);
    // shellCommand with the time limit and environment of its kind.
    Task<ShellResult> runCommand(std::string command, CommandKind kind);
    // Chosen on first use and kept for the view model's life.
    Task<ServiceManager*> serviceManager();
    Task<std::string> findPython3();
    virtual Task<StepResult> installLaunchdService(std::string pellixDir);
    virtual Task<StepResult> installScheduledScanners(std::string pellixDir);
    virtual Task<StepResult> verifyInstall(std::string pellixDir);

    std::string homeDirectory() const { return platform_.homeDirectory(); }

private:
    template <typename T>
    void publish(Property property, T& field, T value);
    void notify(const std::vector<std::pair<ObserverId, Observer>>& observers, Property property);
    Task<void> runGuarded();

    // The pipeline's inline steps; each returns false when its failure stops the run.
    bool checkOpenClaw();
    std::optional<std::string> detectWorkspace();
    Task<bool> installAgentFiles(std::string pellixDir);
    void createSessionStore();
    bool registerAgentStep();
    void createOpsDirectories(const std::string& pellixDir);
    Task<void> restartGateway();
    void beginStep(int row);
    void finishStep(int row, const StepResult& result);
    void stopWithError(int row, const std::string& detail, std::string message);

    Platform platform_;
    InstallerPhase phase_ = InstallerPhase::welcome;
    std::vector<InstallStep> steps_;
    double progress_ = 0.0;
    std::string errorMessage_;
    std::string scanPreset_ = "standard";
    std::string modelChoice_ = "sonnet";
    bool stopRequested_ = false;

    std::shared_ptr<ServiceManager> serviceManager_;
    bool shellNoticeGiven_ = false;

    std::vector<std::pair<ObserverId, Observer>> willChange_;
    std::vector<std::pair<ObserverId, Observer>> didChange_;
    ObserverId nextObserverId_ = 1;
};

}  // namespace pellix
