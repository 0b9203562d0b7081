#pragma once
// A real systemd user manager for one test, started without a login in a private mount namespace
// of the test process (tmpfs on /run/systemd and /run/user), for a chosen HOME; children started
// afterwards share it. Needs root and /lib/systemd/systemd, else available() is false and
// unavailableReason() says why. Use from the test's main thread. Managers of parallel tests would
// share one cgroup and stop each other's units, so one at a time runs, machine-wide.

#include <sys/types.h>

#include <string>

#include "InstallerTypes.h"

namespace pellix::test {

class UserManager {
public:
    // Starts the manager with HOME=`home` and waits for its private socket.
    explicit UserManager(const std::string& home);
    UserManager(const UserManager&) = delete;
    UserManager& operator=(const UserManager&) = delete;
    // Stops the manager (and with it every unit it runs).
    ~UserManager();

    bool available() const { return pid_ > 0; }
    const std::string& unavailableReason() const { return reason_; }
    // /run/user/<uid> inside the namespace: give it to children as XDG_RUNTIME_DIR.
    const std::string& runtimeDirectory() const { return runtimeDirectory_; }
    // Runs `systemctl --user ARGS` against this manager; both streams in the output.
    ShellResult systemctl(const std::string& arguments) const;

private:
    bool prepareNamespace();
    bool startManager();

    std::string home_;
    std::string runtimeDirectory_;
    std::string reason_;
    std::string logFile_;
    int lockFd_ = -1;
    pid_t pid_ = -1;
};

}  // namespace pellix::test
