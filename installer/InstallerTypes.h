#pragma once
// The value types shared by the installer core and the screens: a checklist row, its status,
// the wizard phase and the result pairs the workers return. Plain data, safe on any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace pellix {

enum class StepStatus { pending, running, success, warning, failed };

enum class InstallerPhase { welcome, installing, complete, error };

// The colours are names, not values: the screens map them onto the platform's named colours.
enum class NamedColor { secondary, blue, green, orange, red, purple, gray, white };

// SF Symbol name of a status; the screens draw a matching glyph for each.
std::string_view icon(StepStatus status);
NamedColor color(StepStatus status);

std::string_view toString(StepStatus status);
std::string_view toString(InstallerPhase phase);

struct StepResult {
    StepStatus status;
    std::string detail;
    bool operator==(const StepResult&) const = default;
};

struct ShellResult {
    std::int32_t status;
    std::string output;
    bool operator==(const ShellResult&) const = default;
};

// What a child command is, for its time limit (a minute; two for the gateway restart) and its
// environment (only the user service manager's commands get XDG_RUNTIME_DIR besides PATH and
// HOME).
enum class CommandKind { ordinary, gatewayRestart, userManager };

// Whether a command changes anything: a dry run asks the ones that only read, and writes the
// others into its plan instead of running them.
enum class CommandEffect { changes, readsOnly };

// One of the agent's four background jobs as its service manager (launchd or systemd) sees it.
struct JobState {
    std::string label;           // the job label, e.g. "ai.pellix.pellix-service"
    bool alwaysOn = false;       // the always-on service, else a scheduled scanner
    bool fileInstalled = false;  // its job file (property list, or unit and timer) is on disk
    bool loaded = false;         // the manager knows the job
    bool running = false;        // a process of it runs now
    std::optional<std::int64_t> pid;
    std::string lastRun;  // when it last ran, as the manager tells it; empty when unknown
};

// What became of one job on removal; removing a job that is not there is a success.
struct JobRemoval {
    std::string label;
    bool removed = false;
    std::string detail;  // empty on success, else what went wrong
};

// A random RFC 4122 version 4 UUID in its canonical upper-case text form.
std::string makeUuid();

struct InstallStep {
    InstallStep(std::string label, StepStatus status = StepStatus::pending, std::string detail = "")
        : label(std::move(label)), status(status), detail(std::move(detail)) {}

    std::string id = makeUuid();
    std::string label;
    StepStatus status;
    std::string detail;
};

// updateStep's rule: row `index` of `rows` gets `status`, and `detail` unless it is empty (a row
// set running again keeps what it said before). Returns the progress that follows, (index + 1)
// over the number of rows, tied to the row last touched rather than to the rows finished; nothing,
// with `rows` unchanged, when `index` is outside them.
std::optional<double> applyStepUpdate(std::vector<InstallStep>& rows, int index, StepStatus status,
                                      const std::string& detail);

}  // namespace pellix
