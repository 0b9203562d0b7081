// Registers the Pellix agent in openclaw.json. Failures here are fatal to the install: the host
// cannot run an agent it has no entry for. The entry is written in the installer's own form
// first; where the host's validator rejects that, in the form the host's own schema gives, and
// where it rejects both, not at all.

#include <string>

#include "InstallWorkers.h"
#include "OpenClawCommands.h"
#include "config/ConfigEdits.h"
#include "config/ConfigTransaction.h"
#include "config/HostForm.h"
#include "config/OpenClawConfig.h"

namespace pellix::steps {

namespace {

constexpr const char* kCannotRead = "Cannot read openclaw.json";
constexpr const char* kCannotWrite = "Failed to write openclaw.json";

struct Registered {
    StepResult row;
    InstallRecord::Registration registration;
    std::optional<Choices> choicesKept;
};

// The existing entry's choices, where they are not the ones asked for.
std::optional<Choices> choicesKept(const PellixConfigState& entry, const Choices& asked) {
    if (!entry.registered) return std::nullopt;
    Choices kept = choicesOfEntry(entry.model, entry.heartbeatMinutes);
    if (kept == asked) return std::nullopt;
    return kept;
}

// The entry as the file held it when read, and its form as the edit left it: what the record
// names, without reading the file once more.
struct EntryStates {
    PellixConfigState before;
    std::string formAfter;
};

ConfigChangeOutcome writeEntry(const std::string& configPath, const Host& host,
                               const ConfigValidator& validator,
                               const std::function<Registration(ConfigDocument&)>& add,
                               EntryStates& states) {
    return editConfigFile(
        configPath,
        [&add, &states](ConfigDocument& document) {
            states.before = inspectPellixConfig(document);
            const bool added = add(document) == Registration::added;
            states.formAfter = pellixEntryForm(document.root());
            return added;
        },
        ConfigChangeOptions{ConfigBackup::takeBeforeWriting, validator, host.plan()});
}

// The host's own form, as its schema gives it; nothing when it has none to give.
std::optional<HostAgentForm> hostForm(const Host& host) {
    const std::optional<std::string> schema = openclawSchema(host);
    return schema ? readHostAgentForm(*schema) : std::nullopt;
}

// The whole registration, as one blocking job: each form is judged by the host before it is
// written.
Registered registerEntry(const Host& host, const ConfigValidator& validator, const Choices& choices,
                         const std::string& configPath) {
    Registered done;
    EntryStates states;
    ConfigChangeOutcome outcome = writeEntry(
        configPath, host, validator,
        [&](ConfigDocument& document) { return registerAgent(document, choices); }, states);
    if (outcome.result == ConfigEditResult::rejected) {
        if (const std::optional<HostAgentForm> form = hostForm(host)) {
            const HostVerdict first = outcome.verdict;
            outcome = writeEntry(
                configPath, host, validator,
                [&](ConfigDocument& document) {
                    return registerAgentInHostForm(document, choices, *form);
                },
                states);
            if (outcome.result == ConfigEditResult::rejected && outcome.verdict.reason.empty()) {
                outcome.verdict = first;
            }
        }
    }
    done.registration.verdict = outcome.verdict;
    if (outcome.verdict.kind != HostVerdict::Kind::notChecked) {
        done.registration.host = openclawVersion(host);
    }
    done.registration.form =
        outcome.result == ConfigEditResult::written ? states.formAfter : states.before.form;
    switch (outcome.result) {
        case ConfigEditResult::unreadable:
            done.row = {StepStatus::failed, kCannotRead};
            return done;
        case ConfigEditResult::writeFailed:
            done.row = {StepStatus::failed, kCannotWrite};
            return done;
        case ConfigEditResult::rejected:
            done.row = {StepStatus::failed,
                        "OpenClaw rejects the Pellix entry: " + outcome.verdict.reason};
            return done;
        case ConfigEditResult::unchanged:
            done.row = {StepStatus::success, "Already registered"};
            done.choicesKept = choicesKept(states.before, choices);
            return done;
        case ConfigEditResult::written:
            break;
    }
    done.row = {StepStatus::success, "Registered with " + choices.modelChoice + " model, " +
                                         std::to_string(heartbeatMinutes(choices.scanPreset)) +
                                         "m scan"};
    return done;
}

}  // namespace

Task<StepResult> registerPellixAgent(WorkerContext context, std::string configPath) {
    const Host& host = context.host;
    const ConfigValidator& validator = context.validator;
    auto job = [&host, &validator, choices = context.choices, configPath] {
        return registerEntry(host, validator, choices, configPath);
    };
    Registered done = co_await runBlocking(host.platform().runBlockingJob, std::move(job));
    context.record.registration = std::move(done.registration);
    context.record.choicesKept = std::move(done.choicesKept);
    co_return done.row;
}

}  // namespace pellix::steps
