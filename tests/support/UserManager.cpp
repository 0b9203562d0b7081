#include "UserManager.h"

#include <fcntl.h>
#include <sched.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>
#include <filesystem>
#include <thread>

#include "TestSupport.h"
#include "process/ProcessRunner.h"

namespace fs = std::filesystem;

namespace pellix::test {

namespace {

constexpr const char* kSystemd = "/lib/systemd/systemd";
// In /tmp, not /run: every test's namespace sees the same file there.
constexpr const char* kLockFile = "/tmp/pellix-test-user-manager.lock";

std::string systemError(const std::string& what) {
    return what + ": " + std::strerror(errno);
}

bool mountTmpfs(const std::string& where, std::string& reason) {
    std::error_code ignored;
    fs::create_directories(where, ignored);
    if (::mount("tmpfs", where.c_str(), "tmpfs", 0, "mode=755") != 0) {
        reason = systemError("cannot mount a tmpfs on " + where);
        return false;
    }
    return true;
}

// Polls `done` every 50 ms for up to `seconds`.
template <typename Condition>
bool waitFor(Condition done, int seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    while (std::chrono::steady_clock::now() < deadline) {
        if (done()) return true;
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
    }
    return done();
}

}  // namespace

UserManager::UserManager(const std::string& home)
    : home_(home), runtimeDirectory_("/run/user/" + std::to_string(::getuid())) {
    if (::geteuid() != 0) {
        reason_ = "a user manager without a login needs root (private mount namespace)";
    } else if (::access(kSystemd, X_OK) != 0) {
        reason_ = std::string("no systemd here: ") + kSystemd + " is missing";
    } else if (lockFd_ = ::open(kLockFile, O_RDWR | O_CREAT | O_CLOEXEC, 0600); lockFd_ < 0) {
        reason_ = systemError(std::string("cannot open ") + kLockFile);
    } else if (::flock(lockFd_, LOCK_EX) != 0) {
        reason_ = systemError(std::string("cannot lock ") + kLockFile);
    } else if (prepareNamespace()) {
        startManager();
    }
}

UserManager::~UserManager() {
    if (pid_ > 0) {
        ::kill(pid_, SIGTERM);
        int status = 0;
        const bool ended = waitFor([&] { return ::waitpid(pid_, &status, WNOHANG) == pid_; }, 15);
        if (!ended) {
            ::kill(pid_, SIGKILL);
            ::waitpid(pid_, &status, 0);
        }
    }
    // Closing the file releases the lock for the next test.
    if (lockFd_ >= 0) ::close(lockFd_);
}

bool UserManager::prepareNamespace() {
    if (::unshare(CLONE_NEWNS) != 0) {
        reason_ = systemError("cannot make a private mount namespace");
        return false;
    }
    if (::mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0) {
        reason_ = systemError("cannot make the mounts private");
        return false;
    }
    if (!mountTmpfs("/run/systemd", reason_) || !mountTmpfs("/run/user", reason_)) return false;
    // An empty system/ makes the manager believe it runs under a booted systemd.
    ::mkdir("/run/systemd/system", 0755);
    if (::mkdir(runtimeDirectory_.c_str(), 0700) != 0) {
        reason_ = systemError("cannot make " + runtimeDirectory_);
        return false;
    }
    return true;
}

bool UserManager::startManager() {
    logFile_ = runtimeDirectory_ + "/manager.log";
    const std::string environment[] = {"HOME=" + home_, "XDG_RUNTIME_DIR=" + runtimeDirectory_,
                                       "PATH=/usr/local/bin:/usr/bin:/bin"};
    const pid_t child = ::fork();
    if (child == 0) {
        const int log = ::open(logFile_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
        ::dup2(log, 1);
        ::dup2(log, 2);
        ::setsid();
        char* envp[] = {const_cast<char*>(environment[0].c_str()),
                        const_cast<char*>(environment[1].c_str()),
                        const_cast<char*>(environment[2].c_str()), nullptr};
        char* argv[] = {const_cast<char*>(kSystemd), const_cast<char*>("--user"), nullptr};
        ::execve(kSystemd, argv, envp);
        ::_exit(127);
    }
    if (child < 0) {
        reason_ = systemError("cannot start " + std::string(kSystemd));
        return false;
    }
    pid_ = child;
    const std::string socket = runtimeDirectory_ + "/systemd/private";
    if (!waitFor([&] { return fs::exists(socket); }, 15)) {
        reason_ = "the user manager did not open " + socket + ": " + readFile(logFile_);
        ::kill(pid_, SIGKILL);
        ::waitpid(pid_, nullptr, 0);
        pid_ = -1;
        return false;
    }
    return true;
}

ShellResult UserManager::systemctl(const std::string& arguments) const {
    ChildLimits limits;
    limits.extraEnvironment = {"XDG_RUNTIME_DIR=" + runtimeDirectory_};
    limits.timeLimit = std::chrono::seconds(30);
    return runChild("/bin/sh", "systemctl --user " + arguments, "/usr/bin:/bin", home_, limits)
        .result;
}

}  // namespace pellix::test
