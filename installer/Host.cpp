#include "Host.h"

#include <unistd.h>

#include <chrono>

#include "jobs/ServiceManager.h"
#include "plan/Plan.h"
#include "process/Utf8.h"

namespace pellix {

namespace {

// Seconds where the limit is whole seconds (as in the product), else milliseconds (tests).
std::string limitText(std::chrono::milliseconds limit) {
    if (limit.count() % 1000 == 0) return std::to_string(limit.count() / 1000) + " s";
    return std::to_string(limit.count()) + " ms";
}

// The user's manager is found through its runtime folder; without one of our own the login
// session's standard place is the best guess.
std::string runtimeDirectory(const Platform& platform) {
    if (auto configured = platform.environment("XDG_RUNTIME_DIR");
        configured && !configured->empty()) {
        return *configured;
    }
    return "/run/user/" + std::to_string(::getuid());
}

}  // namespace

Host::Host(Platform platform) : platform_(std::move(platform)) {}

Host::~Host() = default;

Task<ShellResult> Host::shellCommand(std::string command, CommandEffect effect) {
    co_return co_await runCommand(std::move(command), CommandKind::ordinary, effect);
}

Task<ShellResult> Host::runCommand(std::string command, CommandKind kind, CommandEffect effect) {
    if (plan_ != nullptr && effect == CommandEffect::changes) {
        plan_->runCommand(command);
        co_return ShellResult{0, ""};
    }
    // Copied now, on the owning thread: the job may run on a worker thread.
    const std::string shell = platform_.shell;
    const std::string childPath = platform_.childPath;
    const std::string home = homeDirectory();
    const ChildLimits limits = limitsFor(kind);
    const std::string shown = command;
    // Named, not a temporary inside the co_await: GCC 12 destroys a lambda temporary there at the
    // wrong address, freeing memory it never allocated.
    auto job = [shell, childPath, home, command = std::move(command), limits] {
        return runChild(shell, command, childPath, home, limits);
    };
    const ChildOutcome outcome = co_await runBlocking(platform_.runBlockingJob, std::move(job));
    if (outcome.timedOut) {
        notice("Stopped after " + limitText(limits.timeLimit) + " without finishing: " + shown);
    }
    if (outcome.launchFailed && !shellNoticeGiven_) {
        // Said once: without the shell every later command fails the same way.
        shellNoticeGiven_ = true;
        notice("Cannot run " + shell + " (" + outcome.result.output +
               "): the installer runs every command through it. Install zsh (Debian and Ubuntu: "
               "sudo apt install zsh) and run the install again.");
    }
    co_return outcome.result;
}

ShellResult Host::runNow(const std::string& command, CommandKind kind) const {
    return runChild(platform_.shell, command, platform_.childPath, homeDirectory(), limitsFor(kind))
        .result;
}

ChildLimits Host::limitsFor(CommandKind kind) const {
    ChildLimits limits;
    limits.timeLimit = kind == CommandKind::gatewayRestart ? platform_.gatewayRestartTimeLimit
                                                           : platform_.commandTimeLimit;
    if (kind == CommandKind::userManager) {
        limits.extraEnvironment.push_back("XDG_RUNTIME_DIR=" + runtimeDirectory(platform_));
    }
    return limits;
}

Task<ShellResult> Host::restartOpenClawGateway() {
    co_return co_await runCommand("openclaw gateway restart", CommandKind::gatewayRestart);
}

Task<std::string> Host::findPython3() {
    // Only emptiness is judged: zsh's `which` prints its "not found" line on standard output,
    // and that line is taken as it is.
    const ShellResult found = co_await shellCommand("which python3", CommandEffect::readsOnly);
    std::string path = trimWhitespaceAndNewlines(found.output);
    if (path.empty()) co_return std::string("/usr/bin/python3");
    co_return path;
}

Task<ServiceManager*> Host::serviceManager() {
    if (serviceManager_) co_return serviceManager_.get();
    ServiceManagerChoice choice = platform_.serviceManager;
    if (choice == ServiceManagerChoice::automatic) {
        // Asked of the children's own shell, so a PATH its start-up files set counts too.
        const ShellResult found =
            co_await shellCommand("command -v launchctl", CommandEffect::readsOnly);
        choice = found.status == 0 && !found.output.empty() ? ServiceManagerChoice::launchd
                                                            : ServiceManagerChoice::systemd;
    }
    // The runner lambda only forwards: a coroutine lambda would not outlive its first await.
    ManagerContext context{
        [this](std::string command, CommandKind kind, CommandEffect effect) {
            return runCommand(std::move(command), kind, effect);
        },
        [this] { return homeDirectory(); },
        platform_.environment,
        platform_.notice,
        [this] { return plan_; },
    };
    if (choice == ServiceManagerChoice::launchd) {
        serviceManager_ = makeLaunchdManager(std::move(context));
    } else {
        serviceManager_ = makeSystemdManager(std::move(context));
    }
    co_return serviceManager_.get();
}

}  // namespace pellix
