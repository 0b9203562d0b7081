// Registers the Pellix agent in openclaw.json. Failures here are fatal to the install: the host
// cannot run an agent it has no entry for.

#include <string>

#include "InstallWorkers.h"
#include "config/ConfigEdits.h"
#include "config/ConfigTransaction.h"

namespace pellix::steps {

namespace {

constexpr const char* kCannotRead = "Cannot read openclaw.json";
constexpr const char* kCannotWrite = "Failed to write openclaw.json";

}  // namespace

StepResult registerPellixAgent(const WorkerContext& context, const std::string& configPath) {
    const Choices& choices = context.choices;
    bool alreadyRegistered = false;
    const ConfigEditResult result = editConfigFile(
        configPath,
        [&](ConfigDocument& document) {
            alreadyRegistered = registerAgent(document, choices) == Registration::alreadyRegistered;
            return !alreadyRegistered;
        },
        ConfigBackup::takeBeforeWriting);
    switch (result) {
        case ConfigEditResult::unreadable:
            return {StepStatus::failed, kCannotRead};
        case ConfigEditResult::writeFailed:
            return {StepStatus::failed, kCannotWrite};
        case ConfigEditResult::unchanged:
            return {StepStatus::success, "Already registered"};
        case ConfigEditResult::written:
            break;
    }
    return {StepStatus::success, "Registered with " + choices.modelChoice + " model, " +
                                     std::to_string(heartbeatMinutes(choices.scanPreset)) +
                                     "m scan"};
}

}  // namespace pellix::steps
