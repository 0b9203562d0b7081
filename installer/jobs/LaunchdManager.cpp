// The agent's jobs as per-user launchd jobs: one property list each in ~/Library/LaunchAgents,
// loaded into the user's GUI domain. launchd's print format is not an interface, so answers are
// only ever searched for a label or a few "key = value" lines.

#include <filesystem>
#include <sstream>
#include <system_error>

#include "files/FileIo.h"
#include "jobs/PropertyLists.h"
#include "jobs/ServiceManager.h"
#include "process/ProcessRunner.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

class LaunchdManager final : public ServiceManager {
public:
    explicit LaunchdManager(ManagerContext context) : context_(std::move(context)) {}

    std::string name() const override { return "launchd"; }

    Task<ServiceInstall> installAlwaysOnJob(AgentJob job, JobValues values) override {
        const std::string agentsFolder = launchAgentsFolder(values.home);
        createJobFolder(context_.plan(), agentsFolder);

        const std::string label = jobLabel(job.labelSuffix);
        const std::string plist = agentsFolder + "/" + label + ".plist";
        const std::string text = propertyList(job, values);
        if (writeJobFile(context_.plan(), plist, text)) co_return ServiceInstall{};

        // Booting out first makes a second install safe; the pause lets launchd finish the
        // removal before the new file is bootstrapped. Neither result is looked at: the print
        // below decides.
        co_await context_.change("launchctl bootout gui/$(id -u) " + plist +
                                 " 2>/dev/null; sleep 1; launchctl bootstrap gui/$(id -u) " +
                                 plist);
        const ShellResult described =
            co_await context_.query("launchctl print gui/$(id -u)/" + label + " 2>&1 | head -1");
        // Its "Could not find service" reply names the label too: where that is the first line,
        // a job that failed to load passes as well.
        co_return ServiceInstall{true, described.output.find(label) != std::string::npos};
    }

    Task<bool> installScheduledJob(AgentJob job, JobValues values) override {
        // The always-on service step has created this folder; if it could not, every write fails.
        const std::string plist =
            launchAgentsFolder(values.home) + "/" + jobLabel(job.labelSuffix) + ".plist";
        const std::string text = propertyList(job, values);
        if (writeJobFile(context_.plan(), plist, text)) co_return false;
        co_await context_.change("launchctl unload " + plist + " 2>/dev/null; launchctl load " +
                                 plist);
        co_return true;
    }

    Task<bool> isServiceRunning() override {
        // A shell that cannot start prints no label, so the service then reads as not running.
        const ShellResult listing = co_await context_.query("launchctl list | grep pellix-service");
        co_return listing.output.find("pellix-service") != std::string::npos;
    }

    Task<JobState> describeJob(AgentJob job) override {
        JobState state;
        state.label = jobLabel(job.labelSuffix);
        state.alwaysOn = job.alwaysOn();
        std::error_code error;
        state.fileInstalled = fs::exists(fs::path(plistPath(job)), error);
        const ShellResult printed =
            co_await context_.query("launchctl print gui/$(id -u)/" + state.label + " 2>&1");
        state.loaded = printed.status == 0;
        if (state.loaded) readPrintedState(printed.output, state);
        co_return state;
    }

    Task<JobRemoval> removeJob(AgentJob job) override {
        const std::string label = jobLabel(job.labelSuffix);
        const std::string plist = plistPath(job);
        std::error_code error;
        if (fs::exists(fs::path(plist), error)) {
            // Unloaded the way it was loaded: bootstrap's inverse for the service, unload's for
            // the scanners.
            const std::string unload = job.alwaysOn()
                                           ? "launchctl bootout gui/$(id -u) " + shellQuoted(plist)
                                           : "launchctl unload " + shellQuoted(plist);
            co_await context_.change(unload + " 2>/dev/null");
        }
        // Still loaded (its file was gone, or the unload failed): by label, which needs no file.
        // A dry run plans it where the job is loaded without a file only.
        const bool planned = context_.plan() != nullptr;
        const bool unloadedAbove = planned && fs::exists(fs::path(plist), error);
        if (!unloadedAbove) {
            const bool loaded = co_await isLoaded(label);
            if (loaded)
                co_await context_.change("launchctl bootout gui/$(id -u)/" + label +
                                         " 2>/dev/null");
        }
        JobRemoval removal{label, true, ""};
        error = removeJobFile(context_.plan(), plist);
        if (error && error != std::errc::not_a_directory) {
            removal = {label, false, "Could not delete " + plist + ": " + error.message()};
        }
        if (planned) co_return removal;
        const bool stillLoaded = co_await isLoaded(label);
        if (stillLoaded) removal = {label, false, "launchd still has the job loaded"};
        co_return removal;
    }

    std::vector<std::string> jobFiles(const AgentJob& job) const override {
        return {plistPath(job)};
    }

private:
    std::string plistPath(const AgentJob& job) const {
        return launchAgentsFolder(context_.home()) + "/" + jobLabel(job.labelSuffix) + ".plist";
    }

    Task<bool> isLoaded(std::string label) {
        const ShellResult printed =
            co_await context_.query("launchctl print gui/$(id -u)/" + label + " >/dev/null 2>&1");
        co_return printed.status == 0;
    }

    // The tab-indented "key = value" lines of the job's own block.
    static void readPrintedState(const std::string& output, JobState& state) {
        std::istringstream lines(output);
        for (std::string line; std::getline(lines, line);) {
            const auto start = line.find_first_not_of("\t ");
            if (start == std::string::npos) continue;
            const std::string entry = line.substr(start);
            if (entry == "state = running") state.running = true;
            if (entry.starts_with("pid = ")) {
                try {
                    state.pid = std::stoll(entry.substr(6));
                } catch (const std::exception&) {
                    state.pid.reset();
                }
            }
        }
    }

    ManagerContext context_;
};

}  // namespace

std::unique_ptr<ServiceManager> makeLaunchdManager(ManagerContext context) {
    return std::make_unique<LaunchdManager>(std::move(context));
}

}  // namespace pellix
