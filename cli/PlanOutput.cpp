#include "PlanOutput.h"

#include <sstream>

#include "JsonOutput.h"

namespace pellix {

namespace {

bool isConfig(const PlannedChange& change) {
    return change.kind == PlannedChange::Kind::file && change.target.ends_with("/openclaw.json") &&
           !change.diff.empty();
}

// The text indented under its change: a new job file's whole text, or a job file's diff.
void printIndented(std::ostream& out, const std::string& text) {
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) out << "       | " << line << '\n';
}

void printChange(std::ostream& out, const PlannedChange& change) {
    if (change.kind == PlannedChange::Kind::command) {
        out << "     run: " << change.target << '\n';
        return;
    }
    out << "     " << change.action << ": " << change.target;
    if (isConfig(change)) out << " (the diff is below)";
    out << '\n';
    if (isConfig(change)) return;
    printIndented(out, change.diff.empty() ? change.text : change.diff);
}

void printPlan(std::ostream& out, const Plan& plan, std::string_view command) {
    out << "Dry run: nothing is changed. What `pellix-installer " << command
        << "` would do, in order:\n";
    int number = 0;
    for (const auto& [label, changes] : plan.steps()) {
        out << "  " << ++number << ". " << label << '\n';
        if (changes.empty()) out << "     nothing to change\n";
        for (const PlannedChange& change : changes) printChange(out, change);
    }
    if (!plan.changesAnything()) {
        out << "Nothing to change.\n";
        return;
    }
    for (const PlannedChange& change : plan.changes()) {
        if (isConfig(change)) out << '\n' << change.diff;
    }
}

void writeChange(JsonOutput& json, const PlannedChange& change) {
    json.beginObject();
    json.key("kind").text(toString(change.kind));
    json.key("step").text(change.step);
    json.key(change.kind == PlannedChange::Kind::command ? "command" : "path").text(change.target);
    json.key("action").text(change.action);
    json.key("diff").textOrNull(change.diff.empty() ? std::nullopt : std::optional(change.diff));
    json.key("text").textOrNull(change.text.empty() ? std::nullopt : std::optional(change.text));
    json.endObject();
}

}  // namespace

std::string planJson(const Plan& plan, std::string_view command,
                     const std::optional<std::string>& error) {
    const std::vector<PlannedChange> changes = plan.changes();
    JsonOutput json;
    json.beginObject();
    json.key("dryRun").boolean(true);
    json.key("command").text(command);
    json.key("changed").boolean(!changes.empty());
    json.key("error").textOrNull(error);
    json.key("steps").beginArray();
    for (const auto& [label, stepChanges] : plan.steps()) {
        json.beginObject();
        json.key("label").text(label);
        json.key("changes").beginArray();
        for (const PlannedChange& change : stepChanges) writeChange(json, change);
        json.endArray().endObject();
    }
    json.endArray();
    json.key("changes").beginArray();
    for (const PlannedChange& change : changes) writeChange(json, change);
    json.endArray().endObject();
    return json.str();
}

int reportPlan(const Console& console, const CommandOptions& options, const Plan& plan,
               ExitCode exitCode, const std::optional<std::string>& error) {
    const std::string command = commandName(options.command);
    if (options.json) {
        console.out << planJson(plan, command, error);
    } else {
        printPlan(console.out, plan, command);
    }
    if (error) console.err << *error << '\n';
    return toInt(exitCode);
}

}  // namespace pellix
