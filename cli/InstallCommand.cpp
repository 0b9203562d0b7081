// `install`: the window's install, with each checklist row printed as its result arrives.

#include <algorithm>
#include <map>

#include "Commands.h"
#include "InstallerViewModel.h"
#include "JsonOutput.h"
#include "PlanOutput.h"
#include "files/AgentTree.h"

namespace pellix {

namespace {

class ProgressPrinter {
public:
    ProgressPrinter(std::ostream& out, bool colour) : out_(out), colour_(colour) {}

    // Prints each row once it has a result, and again only if that result changes.
    void print(const std::vector<InstallStep>& steps) {
        for (const InstallStep& step : steps) {
            if (step.status == StepStatus::pending || step.status == StepStatus::running) continue;
            const auto shown = printed_.find(step.id);
            if (shown != printed_.end() && shown->second == step.status) continue;
            printed_[step.id] = step.status;
            out_ << "  " << statusMark(step.status, colour_) << ' ' << step.label;
            if (!step.detail.empty()) out_ << " — " << step.detail;
            out_ << '\n' << std::flush;
        }
    }

private:
    std::ostream& out_;
    bool colour_;
    std::map<std::string, StepStatus> printed_;
};

// The configure command that gives the entry the choices this run was asked for.
std::string configureCommandFor(const InstallerViewModel& model) {
    return "pellix-installer configure --scan " + model.scanPreset() + " --model " +
           model.modelChoice();
}

void writeVerdict(JsonOutput& json, const HostVerdict& verdict) {
    json.key("verdict").text(toString(verdict.kind));
    json.key("reason").text(verdict.reason);
}

// What the run found out besides its rows.
void writeRecord(JsonOutput& json, const InstallerViewModel& model) {
    const InstallRecord& record = model.record();
    json.key("registration");
    if (record.registration) {
        json.beginObject();
        json.key("form").textOrNull(record.registration->form.empty()
                                        ? std::nullopt
                                        : std::optional(record.registration->form));
        json.key("host").textOrNull(record.registration->host.empty()
                                        ? std::nullopt
                                        : std::optional(record.registration->host));
        writeVerdict(json, record.registration->verdict);
        json.endObject();
    } else {
        json.null();
    }
    json.key("allowlistRefused");
    if (record.allowlistRefused) {
        json.beginObject();
        writeVerdict(json, *record.allowlistRefused);
        json.endObject();
    } else {
        json.null();
    }
    json.key("gatewayConfigRefused").textOrNull(record.gatewayConfigRefused);
    json.key("keptBeside").beginArray();
    for (const std::string& path : record.keptBeside) json.text(path);
    json.endArray();
    json.key("choicesKept");
    if (record.choicesKept) {
        json.beginObject();
        json.key("scanPreset").text(record.choicesKept->scanPreset);
        json.key("modelChoice").text(record.choicesKept->modelChoice);
        json.key("command").text(configureCommandFor(model));
        json.endObject();
    } else {
        json.null();
    }
}

// The same in lines, after the rows: only what a row could not say.
void printRecord(std::ostream& out, const InstallerViewModel& model) {
    const InstallRecord& record = model.record();
    if (record.choicesKept) {
        out << "Pellix was registered already and keeps its choices: scan "
            << record.choicesKept->scanPreset << ", model " << record.choicesKept->modelChoice
            << ". To change them, run: " << configureCommandFor(model) << "\n";
    }
    if (record.registration && !record.registration->host.empty() &&
        !record.registration->form.empty()) {
        out << record.registration->host << ": registered in " << record.registration->form << "\n";
    }
    if (record.allowlistRefused) {
        out << "OpenClaw rejects the allowlist change (" << record.allowlistRefused->reason
            << "); openclaw.json was left as it was.\n";
    }
    for (const std::string& path : record.keptBeside) {
        out << "Kept your " << path << "; this version's is beside it as " << path << kBesideSuffix
            << "\n";
    }
    if (record.gatewayConfigRefused) {
        out << "OpenClaw did not restart: " << *record.gatewayConfigRefused
            << ". To put openclaw.json back as it was before the install, run: "
               "pellix-installer restore-config\n";
    }
}

// A run changes the home from the agent's files on: their row (the third) ran to a result.
bool changedAnything(const InstallerViewModel& model) {
    const auto& steps = model.steps();
    return steps.size() > 2 && steps[2].status != StepStatus::pending &&
           steps[2].status != StepStatus::running && steps[2].status != StepStatus::failed;
}

std::string summary(const InstallerViewModel& model) {
    JsonOutput json;
    json.beginObject();
    json.key("phase").text(toString(model.phase()));
    json.key("progress").number(model.progress());
    json.key("errorMessage").text(model.errorMessage());
    json.key("scanPreset").text(model.scanPreset());
    json.key("modelChoice").text(model.modelChoice());
    json.key("changed").boolean(changedAnything(model));
    json.key("steps").beginArray();
    for (const InstallStep& step : model.steps()) {
        json.beginObject();
        json.key("label").text(step.label);
        json.key("status").text(toString(step.status));
        json.key("detail").text(step.detail);
        json.endObject();
    }
    json.endArray();
    writeRecord(json, model);
    json.endObject();
    return json.str();
}

// The window's complete screen, in a line: what to do next, and whether some rows need a look.
void printClosing(std::ostream& out, const std::vector<InstallStep>& steps) {
    const auto needsALook = std::count_if(steps.begin(), steps.end(), [](const InstallStep& step) {
        return step.status == StepStatus::warning || step.status == StepStatus::failed;
    });
    if (needsALook == 0) {
        out << "Pellix is watching.";
    } else {
        out << "Pellix is installed; " << needsALook
            << (needsALook == 1 ? " step needs" : " steps need") << " a look (see above).";
    }
    out << " Next: register your agents in agents/pellix-unified/ops/agent-watch-list.md\n";
}

}  // namespace

int installCommand(const CommandOptions& options, Platform platform, const Console& console) {
    InstallerViewModel model(std::move(platform));
    model.setScanPreset(options.scanPreset);
    model.setModelChoice(options.modelChoice);
    Plan plan;
    if (options.dryRun) {
        model.host().setPlan(&plan);
        model.startInstall();
        const bool wouldInstall = model.phase() == InstallerPhase::complete;
        return reportPlan(console, options, plan, wouldInstall ? ExitCode::done : ExitCode::failed,
                          wouldInstall
                              ? std::nullopt
                              : std::optional("Installation failed: " + model.errorMessage()));
    }

    ProgressPrinter printer(console.out, console.colour);
    if (!options.json) {
        console.out << "Installing Pellix (scan: " << options.scanPreset
                    << ", model: " << options.modelChoice << ")\n";
        model.addDidChangeObserver([&](Property property) {
            if (property == Property::steps) printer.print(model.steps());
        });
    }

    model.startInstall();  // the default executor runs every job inline: this returns at the end

    const bool installed = model.phase() == InstallerPhase::complete;
    if (options.json) {
        console.out << summary(model);
    } else {
        printRecord(console.out, model);
        if (installed) printClosing(console.out, model.steps());
    }
    if (!installed) console.err << "Installation failed: " << model.errorMessage() << '\n';
    return toInt(installed ? ExitCode::done : ExitCode::failed);
}

std::string statusMark(StepStatus status, bool colour) {
    const auto paint = [colour](const char* code, const char* text) {
        return colour ? std::string("\033[") + code + "m" + text + "\033[0m" : std::string(text);
    };
    switch (status) {
        case StepStatus::success:
            return paint("32", "✓");
        case StepStatus::warning:
            return paint("33", "!");
        case StepStatus::failed:
            return paint("31", "✗");
        default:
            return " ";
    }
}

}  // namespace pellix
