#pragma once
// The machine an install runs on, as the core sees it. Every external command goes through here:
// through the platform's shell with exactly its PATH and HOME, a time limit, and as a blocking job
// on the platform's executor, so the window keeps painting while a child runs. It also finds
// python3, chooses the service manager once, and restarts the OpenClaw gateway.
// Owned by one thread (the UI thread in the window, the main thread in a command); its tasks
// resume there.

#include <memory>
#include <string>

#include "InstallerTypes.h"
#include "Platform.h"
#include "Task.h"
#include "process/ProcessRunner.h"

namespace pellix {

class Plan;
class ServiceManager;

class Host {
public:
    explicit Host(Platform platform);
    Host(const Host&) = delete;
    Host& operator=(const Host&) = delete;
    ~Host();

    const Platform& platform() const { return platform_; }
    std::string homeDirectory() const { return platform_.homeDirectory(); }
    // One line for the person at the terminal, outside any checklist.
    void notice(const std::string& line) const { platform_.notice(line); }

    // `command` run by the shell as an ordinary command: a minute at most.
    Task<ShellResult> shellCommand(std::string command,
                                   CommandEffect effect = CommandEffect::changes);
    // The same with the time limit and environment of its kind. In a dry run, a command that
    // changes something is written into the plan and not run; it then reads as succeeded
    // without output.
    Task<ShellResult> runCommand(std::string command, CommandKind kind,
                                 CommandEffect effect = CommandEffect::changes);
    // The same, run at once and waited for on the calling thread, whichever that is: for the
    // commands a blocking job needs. It gives no notice; a child that runs over its limit is
    // stopped and its result says so.
    ShellResult runNow(const std::string& command, CommandKind kind = CommandKind::ordinary) const;
    // `openclaw gateway restart`, with the longer time limit a gateway restart gets.
    Task<ShellResult> restartOpenClawGateway();
    // What `which python3` prints, trimmed; "/usr/bin/python3" when it prints nothing.
    Task<std::string> findPython3();

    // launchd where the children's shell finds `launchctl`, else the user's systemd, unless the
    // platform fixes the choice. Chosen on first use and kept for the host's life.
    Task<ServiceManager*> serviceManager();

    // A dry run's plan, which every step writes its changes into instead of making them; none
    // for a real run. The plan must outlive the runs that use it.
    void setPlan(Plan* plan) { plan_ = plan; }
    Plan* plan() const { return plan_; }

private:
    ChildLimits limitsFor(CommandKind kind) const;

    Platform platform_;
    std::unique_ptr<ServiceManager> serviceManager_;
    bool shellNoticeGiven_ = false;
    Plan* plan_ = nullptr;
};

}  // namespace pellix
