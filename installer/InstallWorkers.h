#pragma once
// The five workers the install pipeline calls, as one value of replaceable functions: the
// registration in openclaw.json, the main agent's allowlist, the always-on service, the scheduled
// scanners and the verification. The standard set (installer/steps/) does the real work; a test
// gives the view model a set with one worker replaced. Called on the view model's thread.

#include <functional>
#include <string>

#include "Choices.h"
#include "Host.h"
#include "InstallRecord.h"
#include "InstallerTypes.h"
#include "OpenClawLayout.h"
#include "Task.h"
#include "config/HostVerdict.h"

namespace pellix {

// What a worker may use besides its argument: the user's choices at the time of the call, where
// things are, the machine, the host's validator for openclaw.json, and the run's record of what
// it found out. The references belong to the view model and outlive every call.
struct WorkerContext {
    Choices choices;
    const OpenClawLayout& layout;
    Host& host;
    const ConfigValidator& validator;
    InstallRecord& record;
};

namespace steps {

// Coroutines take their arguments by value: they outlive the caller's expression. The two edits
// of openclaw.json run as blocking jobs, since the host judges each before it is written.
Task<StepResult> registerPellixAgent(WorkerContext context, std::string configPath);
Task<StepResult> addToAllowlist(WorkerContext context, std::string configPath);
Task<StepResult> installAlwaysOnService(WorkerContext context, std::string pellixDir);
Task<StepResult> installScheduledScanners(WorkerContext context, std::string pellixDir);
Task<StepResult> verifyInstall(WorkerContext context, std::string pellixDir);

}  // namespace steps

// Named after the view model's methods that call them.
struct InstallWorkers {
    std::function<Task<StepResult>(WorkerContext, std::string configPath)> registerPellixAgent =
        steps::registerPellixAgent;
    std::function<Task<StepResult>(WorkerContext, std::string configPath)> addToAllowlist =
        steps::addToAllowlist;
    std::function<Task<StepResult>(WorkerContext, std::string pellixDir)> installLaunchdService =
        steps::installAlwaysOnService;
    std::function<Task<StepResult>(WorkerContext, std::string pellixDir)> installScheduledScanners =
        steps::installScheduledScanners;
    std::function<Task<StepResult>(WorkerContext, std::string pellixDir)> verifyInstall =
        steps::verifyInstall;
};

}  // namespace pellix
