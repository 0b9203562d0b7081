#include "Unprivileged.h"

#include <fcntl.h>
#include <grp.h>
#include <gtest/gtest.h>
#include <pwd.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdint>
#include <cstring>
#include <utility>

namespace pellix::test {
namespace {

// The first byte of the child's answer says what follows it: the worker's status and detail, or
// the errno and name of the call that would not give up root.
constexpr char kRan = 'r';
constexpr char kStillRoot = 's';
constexpr std::size_t kHeaderSize = 1 + sizeof(std::int32_t);

struct Account {
    uid_t uid;
    gid_t gid;
};

struct ChildAnswer {
    char kind = 0;
    std::int32_t number = 0;
    std::string text;
    // Set instead of the rest when the child never answered.
    std::string problem;
};

// Looked up before forking, since getpwnam may load NSS modules or talk to a daemon.
Account nobody() {
    if (const passwd* entry = ::getpwnam("nobody")) return {entry->pw_uid, entry->pw_gid};
    return {65534, 65534};
}

void writeAll(int fd, const char* data, std::size_t size) {
    while (size > 0) {
        const ssize_t written = ::write(fd, data, size);
        if (written < 0 && errno == EINTR) continue;
        if (written <= 0) return;
        data += written;
        size -= static_cast<std::size_t>(written);
    }
}

void sendAnswer(int fd, char kind, std::int32_t number, const std::string& text) {
    char header[kHeaderSize] = {kind};
    std::memcpy(header + 1, &number, sizeof number);
    writeAll(fd, header, sizeof header);
    writeAll(fd, text.data(), text.size());
}

// Groups and group id go first: once the user id is dropped, neither may change any more.
[[noreturn]] void runInChild(int fd, Account account, const std::function<StepResult()>& work) {
    const char* refused = nullptr;
    if (::setgroups(0, nullptr) != 0) {
        refused = "setgroups";
    } else if (::setgid(account.gid) != 0) {
        refused = "setgid";
    } else if (::setuid(account.uid) != 0) {
        refused = "setuid";
    }
    if (refused != nullptr) {
        const int error = errno;
        sendAnswer(fd, kStillRoot, error, refused);
        ::_exit(0);
    }
    try {
        const StepResult result = work();
        sendAnswer(fd, kRan, static_cast<std::int32_t>(result.status), result.detail);
        ::_exit(0);
    } catch (...) {
        ::_exit(1);
    }
}

ChildAnswer unanswered(std::string problem) {
    ChildAnswer answer;
    answer.problem = std::move(problem);
    return answer;
}

std::string readAll(int fd) {
    std::string bytes;
    char buffer[4096];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0 && errno == EINTR) continue;
        if (got <= 0) return bytes;
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
}

std::string noAnswer(int waitStatus) {
    const std::string how = WIFSIGNALED(waitStatus)
                                ? "was killed by signal " + std::to_string(WTERMSIG(waitStatus))
                                : "exited with status " + std::to_string(WEXITSTATUS(waitStatus));
    return "the unprivileged child gave no answer: it " + how;
}

ChildAnswer askChild(const std::function<StepResult()>& work) {
    const Account account = nobody();
    int ends[2];
    if (::pipe2(ends, O_CLOEXEC) != 0) {
        return unanswered(std::string("pipe2: ") + std::strerror(errno));
    }
    const pid_t pid = ::fork();
    if (pid < 0) {
        const int error = errno;
        ::close(ends[0]);
        ::close(ends[1]);
        return unanswered(std::string("fork: ") + std::strerror(error));
    }
    if (pid == 0) {
        ::close(ends[0]);
        runInChild(ends[1], account, work);
    }
    ::close(ends[1]);
    const std::string bytes = readAll(ends[0]);
    ::close(ends[0]);
    int status = 0;
    while (::waitpid(pid, &status, 0) < 0 && errno == EINTR) {
    }
    const bool answered = WIFEXITED(status) && WEXITSTATUS(status) == 0 &&
                          bytes.size() >= kHeaderSize &&
                          (bytes[0] == kRan || bytes[0] == kStillRoot);
    if (!answered) return unanswered(noAnswer(status));
    ChildAnswer answer;
    answer.kind = bytes[0];
    answer.text = bytes.substr(kHeaderSize);
    std::memcpy(&answer.number, bytes.data() + 1, sizeof answer.number);
    return answer;
}

// Why the answer is not the worker's result, or empty when it is.
std::string problemWith(const ChildAnswer& answer) {
    if (!answer.problem.empty()) return answer.problem;
    if (answer.kind == kRan) return "";
    return "running as root and cannot become nobody: " + answer.text + ": " +
           std::strerror(answer.number);
}

}  // namespace

std::optional<std::string> cannotRunUnprivilegedIn(const std::string& folder) {
    if (::geteuid() != 0) return std::nullopt;
    const ChildAnswer answer = askChild([&folder] {
        if (::access(folder.c_str(), X_OK) == 0) return StepResult{StepStatus::success, ""};
        return StepResult{StepStatus::failed, std::strerror(errno)};
    });
    // A child that never answered is a broken harness, not a limit of the machine: fail, then stop.
    if (!answer.problem.empty()) ADD_FAILURE() << answer.problem;
    if (std::string problem = problemWith(answer); !problem.empty()) return problem;
    if (answer.number != static_cast<std::int32_t>(StepStatus::success)) {
        return "nobody cannot enter " + folder + ": " + answer.text;
    }
    return std::nullopt;
}

StepResult runUnprivileged(const std::function<StepResult()>& work) {
    if (::geteuid() != 0) return work();
    const ChildAnswer answer = askChild(work);
    const std::string problem = problemWith(answer);
    if (problem.empty()) return {static_cast<StepStatus>(answer.number), answer.text};
    ADD_FAILURE() << problem;
    return {StepStatus::failed, problem};
}

}  // namespace pellix::test
