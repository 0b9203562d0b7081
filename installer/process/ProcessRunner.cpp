#include "process/ProcessRunner.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <optional>
#include <utility>
#include <vector>

namespace pellix {

namespace {

// Only consulted when the pipe stays quiet: a child that exits normally closes its end and wakes
// the poll at once, so this costs nothing unless a grandchild keeps the pipe open.
constexpr int kExitCheckMillis = 50;
// A grandchild may go on writing after the child is gone; what it adds is not waited for, and
// this bounds how much of it is taken.
constexpr std::size_t kDrainLimit = 1024 * 1024;

class Fd {
public:
    explicit Fd(int fd = -1) : fd_(fd) {}
    Fd(const Fd&) = delete;
    Fd& operator=(const Fd&) = delete;
    ~Fd() { reset(); }
    int get() const { return fd_; }
    void reset(int fd = -1) {
        if (fd_ >= 0) ::close(fd_);
        fd_ = fd;
    }

private:
    int fd_;
};

std::string errorText(int error) {
    return std::strerror(error);
}

// Both ends close on exec, so a child started by another thread never inherits them.
int makePipe(Fd& readEnd, Fd& writeEnd) {
    int fds[2];
#ifdef __APPLE__
    if (::pipe(fds) != 0) return errno;
    ::fcntl(fds[0], F_SETFD, FD_CLOEXEC);
    ::fcntl(fds[1], F_SETFD, FD_CLOEXEC);
#else
    if (::pipe2(fds, O_CLOEXEC) != 0) return errno;
#endif
    readEnd.reset(fds[0]);
    writeEnd.reset(fds[1]);
    return 0;
}

struct SpawnSetup {
    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    SpawnSetup() {
        posix_spawn_file_actions_init(&actions);
        posix_spawnattr_init(&attributes);
    }
    SpawnSetup(const SpawnSetup&) = delete;
    SpawnSetup& operator=(const SpawnSetup&) = delete;
    ~SpawnSetup() {
        posix_spawnattr_destroy(&attributes);
        posix_spawn_file_actions_destroy(&actions);
    }
};

// The child gets standard input, the pipe as both output streams, and no other descriptor of
// ours. Signal dispositions and the mask start clean: an installer that ignores SIGPIPE must not
// pass that on, or `... | head -1` lines would stop behaving like they do in a terminal.
int prepareSpawn(SpawnSetup& setup, int outputFd) {
    short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF | POSIX_SPAWN_SETPGROUP;
    int error = 0;
#ifdef __APPLE__
    flags |= POSIX_SPAWN_CLOEXEC_DEFAULT;
    for (int fd = 0; fd <= 2 && error == 0; ++fd) {
        error = posix_spawn_file_actions_addinherit_np(&setup.actions, fd);
    }
#endif
    if (error == 0) error = posix_spawn_file_actions_adddup2(&setup.actions, outputFd, 1);
    if (error == 0) error = posix_spawn_file_actions_adddup2(&setup.actions, outputFd, 2);
#if defined(__GLIBC__) && (__GLIBC__ > 2 || (__GLIBC__ == 2 && __GLIBC_MINOR__ >= 34))
    if (error == 0) error = posix_spawn_file_actions_addclosefrom_np(&setup.actions, 3);
#endif
    sigset_t noSignals;
    sigemptyset(&noSignals);
    sigset_t allSignals;
    sigfillset(&allSignals);
    sigdelset(&allSignals, SIGKILL);
    sigdelset(&allSignals, SIGSTOP);
    if (error == 0) error = posix_spawnattr_setsigmask(&setup.attributes, &noSignals);
    if (error == 0) error = posix_spawnattr_setsigdefault(&setup.attributes, &allSignals);
    if (error == 0) error = posix_spawnattr_setpgroup(&setup.attributes, 0);
    if (error == 0) error = posix_spawnattr_setflags(&setup.attributes, flags);
    return error;
}

int spawnShell(const std::string& shell, const std::string& command,
               const std::vector<std::string>& environment, int outputFd, pid_t& pid) {
    SpawnSetup setup;
    if (const int error = prepareSpawn(setup, outputFd); error != 0) return error;
    std::string dashC = "-c";
    std::vector<char*> argv = {const_cast<char*>(shell.c_str()), dashC.data(),
                               const_cast<char*>(command.c_str()), nullptr};
    std::vector<char*> envp;
    for (const std::string& entry : environment) envp.push_back(const_cast<char*>(entry.c_str()));
    envp.push_back(nullptr);
    return posix_spawn(&pid, shell.c_str(), &setup.actions, &setup.attributes, argv.data(),
                       envp.data());
}

enum class ReadOutcome { data, endOfFile, wouldBlock };

ReadOutcome readSome(int fd, std::string& into) {
    char buffer[64 * 1024];
    for (;;) {
        const ssize_t n = ::read(fd, buffer, sizeof buffer);
        if (n > 0) {
            into.append(buffer, static_cast<std::size_t>(n));
            return ReadOutcome::data;
        }
        if (n == 0) return ReadOutcome::endOfFile;
        if (errno == EINTR) continue;
        if (errno == EAGAIN || errno == EWOULDBLOCK) return ReadOutcome::wouldBlock;
        return ReadOutcome::endOfFile;
    }
}

// Once the child is gone everything it wrote is already in the pipe; a grandchild may still hold
// the other end, so take what is there without waiting for an end of file.
void drainAvailable(int fd, std::string& into) {
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) | O_NONBLOCK);
    const std::size_t limit = into.size() + kDrainLimit;
    while (into.size() < limit && readSome(fd, into) == ReadOutcome::data) {
    }
}

// True once the child has been reaped, or can no longer be waited for (then the status stays
// unknown).
bool reapIfExited(pid_t pid, std::optional<int>& waitStatus) {
    for (;;) {
        int status = 0;
        const pid_t reaped = ::waitpid(pid, &status, WNOHANG);
        if (reaped == pid) {
            waitStatus = status;
            return true;
        }
        if (reaped == 0) return false;
        if (errno != EINTR) return true;
    }
}

std::optional<int> reapBlocking(pid_t pid) {
    int status = 0;
    for (;;) {
        if (::waitpid(pid, &status, 0) == pid) return status;
        if (errno != EINTR) return std::nullopt;
    }
}

struct Collected {
    std::string bytes;
    std::optional<int> waitStatus;
    bool timedOut = false;
};

using Clock = std::chrono::steady_clock;

// A descriptor that turns readable when the child exits (Linux 5.3 and later), so the wait wakes at
// the exit itself instead of at the next check; -1 where there is none.
int openExitDescriptor(pid_t pid) {
#if defined(__linux__) && defined(SYS_pidfd_open)
    return static_cast<int>(::syscall(SYS_pidfd_open, pid, 0));
#else
    (void)pid;
    return -1;
#endif
}

// How long one poll may sleep: without an exit descriptor the checks after the end of file start
// at a millisecond and double, since the exit follows the end of file at once.
int nextWaitMillis(bool exitWatched, bool open, int& closedWaitMillis) {
    if (exitWatched || open) return kExitCheckMillis;
    const int wait = closedWaitMillis;
    closedWaitMillis = std::min(closedWaitMillis * 2, kExitCheckMillis);
    return wait;
}

// Reads while waiting, so a child that prints more than the pipe holds never stalls on a write.
// A child that closes its output early is still waited for within the limit, never blocked on.
Collected collectUntilExit(pid_t pid, int fd, std::chrono::milliseconds timeLimit) {
    Collected result;
    const auto deadline = Clock::now() + timeLimit;
    const Fd exited(openExitDescriptor(pid));
    bool open = true;
    int closedWaitMillis = 1;
    for (;;) {
        // The pipe first, then the exit descriptor; a closed pipe is left out of the set.
        pollfd watch[2] = {{fd, POLLIN, 0}, {exited.get(), POLLIN, 0}};
        pollfd* first = open ? &watch[0] : &watch[1];
        const nfds_t count = (open ? 1 : 0) + (exited.get() >= 0 ? 1 : 0);
        const int ready =
            ::poll(first, count, nextWaitMillis(exited.get() >= 0, open, closedWaitMillis));
        if (open && ready > 0 && watch[0].revents != 0 &&
            readSome(fd, result.bytes) == ReadOutcome::endOfFile) {
            open = false;
        }
        if (reapIfExited(pid, result.waitStatus)) {
            if (open) drainAvailable(fd, result.bytes);
            return result;
        }
        if (timeLimit.count() > 0 && Clock::now() >= deadline) {
            ::kill(-pid, SIGKILL);
            result.waitStatus = reapBlocking(pid);
            result.timedOut = true;
            if (open) drainAvailable(fd, result.bytes);
            return result;
        }
    }
}

std::int32_t terminationStatus(const std::optional<int>& waitStatus) {
    if (!waitStatus) return -1;
    if (WIFEXITED(*waitStatus)) return WEXITSTATUS(*waitStatus);
    if (WIFSIGNALED(*waitStatus)) return WTERMSIG(*waitStatus);
    return -1;
}

}  // namespace

ShellResult runShell(const std::string& shell, const std::string& command,
                     const std::string& childPath, const std::string& home) {
    return runChild(shell, command, childPath, home, {}).result;
}

ChildOutcome runChild(const std::string& shell, const std::string& command,
                      const std::string& childPath, const std::string& home,
                      const ChildLimits& limits) {
    ChildOutcome outcome;
    Fd readEnd;
    Fd writeEnd;
    if (const int error = makePipe(readEnd, writeEnd); error != 0) {
        outcome.result = {-1, errorText(error)};
        return outcome;
    }

    std::vector<std::string> environment = {"PATH=" + childPath, "HOME=" + home};
    environment.insert(environment.end(), limits.extraEnvironment.begin(),
                       limits.extraEnvironment.end());
    pid_t pid = 0;
    const int error = spawnShell(shell, command, environment, writeEnd.get(), pid);
    // Our copy of the write end must go, or the end of file would never come.
    writeEnd.reset();
    if (error != 0) {
        outcome.result = {-1, errorText(error)};
        outcome.launchFailed = true;
        return outcome;
    }

    Collected collected = collectUntilExit(pid, readEnd.get(), limits.timeLimit);
    outcome.timedOut = collected.timedOut;
    const std::int32_t status = terminationStatus(collected.waitStatus);
    outcome.result.status = status;
    if (isValidUtf8(collected.bytes)) outcome.result.output = std::move(collected.bytes);
    return outcome;
}

std::string shellQuoted(const std::string& text) {
    std::string quoted = "'";
    for (char c : text) quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return quoted + "'";
}

}  // namespace pellix
