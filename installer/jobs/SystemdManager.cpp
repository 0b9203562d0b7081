// The agent's jobs as systemd user units: the always-on service, and a oneshot service started by
// a timer per scanner. Every answer is asked of the manager itself (is-active, show); exit
// statuses of reloads decide nothing.

#include <cstdint>
#include <filesystem>
#include <optional>
#include <sstream>
#include <system_error>
#include <vector>

#include "Platform.h"
#include "files/FileIo.h"
#include "jobs/ServiceManager.h"
#include "jobs/SystemdUnits.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

using Properties = std::vector<std::pair<std::string, std::string>>;

Properties parseProperties(const std::string& output) {
    Properties properties;
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        const auto equals = line.find('=');
        if (equals != std::string::npos) {
            properties.emplace_back(line.substr(0, equals), line.substr(equals + 1));
        }
    }
    return properties;
}

std::string valueOf(const Properties& properties, const std::string& name) {
    for (const auto& [key, value] : properties) {
        if (key == name) return value;
    }
    return {};
}

std::string firstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

// systemd says 0 when there is no main process.
std::optional<std::int64_t> parsePid(const std::string& text) {
    try {
        const long long pid = std::stoll(text);
        if (pid > 0) return pid;
    } catch (const std::exception&) {
    }
    return std::nullopt;
}

bool existsAt(const std::string& path) {
    std::error_code error;
    return fs::exists(fs::path(path), error);
}

class SystemdManager final : public ServiceManager {
public:
    explicit SystemdManager(ManagerContext context) : context_(std::move(context)) {
        context_.kind = CommandKind::userManager;
    }

    std::string name() const override { return "systemd"; }

    Task<ServiceInstall> installAlwaysOnJob(AgentJob job, JobValues values) override {
        createJobFolder(context_.plan(), unitFolder());
        const std::string unit = serviceUnitName(job);
        if (writeJobFile(context_.plan(), unitPath(unit), serviceUnit(job, values))) {
            co_return ServiceInstall{};
        }
        // Restarted even when its unit is unchanged: the agent's tree has just been replaced.
        co_await context_.change("systemctl --user daemon-reload && systemctl --user enable " +
                                 unit + " && systemctl --user restart " + unit);
        const bool running = co_await isActive(unit);
        if (!running) co_await noticeIfUnreachable();
        co_return ServiceInstall{true, running};
    }

    Task<bool> installScheduledJob(AgentJob job, JobValues values) override {
        const std::string timer = timerUnitName(job);
        if (writeJobFile(context_.plan(), unitPath(serviceUnitName(job)),
                         serviceUnit(job, values)) ||
            writeJobFile(context_.plan(), unitPath(timer), timerUnit(job))) {
            co_return false;
        }
        // Starting or restarting the timer runs its scanner once now, as loading does under
        // launchd; the reloads of the other jobs do not run it again.
        const ShellResult handedOver =
            co_await context_.change("systemctl --user daemon-reload && systemctl --user enable " +
                                     timer + " && systemctl --user restart " + timer);
        if (handedOver.status != 0) co_await noticeIfUnreachable();
        co_return true;
    }

    Task<bool> isServiceRunning() override {
        co_return co_await isActive(serviceUnitName(kServiceJob));
    }

    Task<JobState> describeJob(AgentJob job) override {
        JobState state;
        state.label = jobLabel(job.labelSuffix);
        state.alwaysOn = job.alwaysOn();
        const std::string service = serviceUnitName(job);
        state.fileInstalled = existsAt(unitPath(service)) &&
                              (job.alwaysOn() || existsAt(unitPath(timerUnitName(job))));
        const Properties unit =
            co_await show(service, "LoadState,ActiveState,SubState,MainPID,UnitFileState");
        state.pid = parsePid(valueOf(unit, "MainPID"));
        if (job.alwaysOn()) {
            state.loaded = valueOf(unit, "LoadState") == "loaded" &&
                           valueOf(unit, "UnitFileState") == "enabled";
            state.running =
                valueOf(unit, "ActiveState") == "active" && valueOf(unit, "SubState") == "running";
            co_return state;
        }
        const Properties timer = co_await show(
            timerUnitName(job), "LoadState,ActiveState,UnitFileState,LastTriggerUSec");
        state.loaded =
            valueOf(timer, "LoadState") == "loaded" && valueOf(timer, "ActiveState") == "active";
        state.running = valueOf(unit, "ActiveState") == "activating";
        if (const std::string last = valueOf(timer, "LastTriggerUSec"); last != "n/a") {
            state.lastRun = last;
        }
        co_return state;
    }

    Task<JobRemoval> removeJob(AgentJob job) override {
        const std::string label = jobLabel(job.labelSuffix);
        std::vector<std::string> units = {serviceUnitName(job)};
        if (!job.alwaysOn()) units.insert(units.begin(), timerUnitName(job));
        std::string names;
        for (const std::string& unit : units) names += " " + unit;

        co_await context_.change("systemctl --user disable --now" + names + " 2>/dev/null");
        JobRemoval removal{label, true, ""};
        for (const std::string& unit : units) {
            if (const std::error_code error = removeJobFile(context_.plan(), unitPath(unit));
                error && error != std::errc::not_a_directory) {
                removal = {label, false,
                           "Could not delete " + unitPath(unit) + ": " + error.message()};
            }
        }
        co_await context_.change("systemctl --user daemon-reload; systemctl --user reset-failed" +
                                 names + " 2>/dev/null");
        if (context_.plan()) co_return removal;
        const ShellResult states =
            co_await context_.query("systemctl --user is-active" + names + " 2>/dev/null");
        std::istringstream lines(states.output);
        for (std::string state; std::getline(lines, state);) {
            if (state == "active" || state == "activating" || state == "deactivating" ||
                state == "reloading") {
                removal = {label, false, "systemd still runs it"};
            }
        }
        co_return removal;
    }

    std::vector<std::string> jobFiles(const AgentJob& job) const override {
        std::vector<std::string> files = {unitPath(serviceUnitName(job))};
        if (!job.alwaysOn()) files.push_back(unitPath(timerUnitName(job)));
        return files;
    }

private:
    std::string unitFolder() const {
        // Relative values are invalid by the XDG rules and ignored, as systemd ignores them.
        const std::optional<std::string> configured = context_.environment("XDG_CONFIG_HOME");
        const bool usable = configured && configured->starts_with("/");
        return systemdUserUnitFolder(usable ? *configured : context_.home() + "/.config");
    }

    std::string unitPath(const std::string& unit) const { return unitFolder() + "/" + unit; }

    Task<bool> isActive(std::string unit) {
        const ShellResult state = co_await context_.query("systemctl --user is-active " + unit);
        co_return firstLine(state.output) == "active";
    }

    Task<Properties> show(std::string unit, std::string properties) {
        const ShellResult shown =
            co_await context_.query("systemctl --user show -p " + properties + " " + unit);
        if (shown.status != 0) co_return Properties{};
        co_return parseProperties(shown.output);
    }

    // Said once: every later command would fail for the same reason.
    Task<void> noticeIfUnreachable() {
        if (noticeGiven_ || context_.plan()) co_return;
        const ShellResult reachable =
            co_await context_.query("systemctl --user show-environment >/dev/null 2>&1");
        if (reachable.status == 0) co_return;
        noticeGiven_ = true;
        std::string units;
        for (const AgentJob& job : kAgentJobs) {
            units += " " + (job.alwaysOn() ? serviceUnitName(job) : timerUnitName(job));
        }
        context_.notice("No systemd user manager answered; the Pellix units are written to " +
                        unitFolder() +
                        ". Start them from a login session with: systemctl --user daemon-reload "
                        "&& systemctl --user enable --now" +
                        units + " (on a server, run `loginctl enable-linger " + currentUserName() +
                        "` first so they run without a login).");
    }

    ManagerContext context_;
    bool noticeGiven_ = false;
};

}  // namespace

std::unique_ptr<ServiceManager> makeSystemdManager(ManagerContext context) {
    return std::make_unique<SystemdManager>(std::move(context));
}

}  // namespace pellix
