// Every external command the installer runs goes through shellCommand; the child runs as a job on
// the platform's executor so the window keeps painting while it waits.

#include <unistd.h>

#include <chrono>
#include <string_view>

#include "../InstallerViewModel.h"
#include "ProcessRunner.h"
#include "ServiceManager.h"

namespace pellix {

namespace {

// The set a Mac trims as "whitespace and newlines": Unicode spaces, tabs and line breaks.
bool isWhitespaceOrNewline(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F ||
           c == 0x205F || c == 0x3000;
}

// Decodes the sequence that starts at `at`; the runner only hands over valid UTF-8.
char32_t codePointAt(std::string_view text, std::size_t at, std::size_t& length) {
    const auto lead = static_cast<unsigned char>(text[at]);
    length = lead < 0x80 ? 1 : lead < 0xE0 ? 2 : lead < 0xF0 ? 3 : 4;
    if (at + length > text.size()) length = text.size() - at;
    char32_t value = length == 1 ? lead : lead & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i) {
        value = (value << 6) | (static_cast<unsigned char>(text[at + i]) & 0x3F);
    }
    return value;
}

std::string trimWhitespaceAndNewlines(std::string_view text) {
    std::size_t begin = 0;
    std::size_t length = 0;
    while (begin < text.size() && isWhitespaceOrNewline(codePointAt(text, begin, length))) {
        begin += length;
    }
    std::size_t end = text.size();
    while (end > begin) {
        std::size_t start = end - 1;
        while (start > begin && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
        if (!isWhitespaceOrNewline(codePointAt(text, start, length))) break;
        end = start;
    }
    return std::string(text.substr(begin, end - begin));
}

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

Task<ShellResult> InstallerViewModel::shellCommand(std::string command) {
    co_return co_await runCommand(std::move(command), CommandKind::ordinary);
}

Task<ShellResult> InstallerViewModel::runCommand(std::string command, CommandKind kind) {
    // Copied now, on the owning thread: the job may run on a worker thread.
    const std::string shell = platform().shell;
    const std::string childPath = platform().childPath;
    const std::string home = homeDirectory();
    ChildLimits limits;
    limits.timeLimit = kind == CommandKind::gatewayRestart ? platform().gatewayRestartTimeLimit
                                                           : platform().commandTimeLimit;
    if (kind == CommandKind::userManager) {
        limits.extraEnvironment.push_back("XDG_RUNTIME_DIR=" + runtimeDirectory(platform()));
    }
    const std::string shown = command;
    // Named, not a temporary inside the co_await: GCC 12 destroys a lambda temporary there at the
    // wrong address, freeing memory it never allocated.
    auto job = [shell, childPath, home, command = std::move(command), limits] {
        return runChild(shell, command, childPath, home, limits);
    };
    const ChildOutcome outcome = co_await runBlocking(platform().runBlockingJob, std::move(job));
    if (outcome.timedOut) {
        platform().notice("Stopped after " + limitText(limits.timeLimit) +
                          " without finishing: " + shown);
    }
    if (outcome.launchFailed && !shellNoticeGiven_) {
        // Said once: without the shell every later command fails the same way.
        shellNoticeGiven_ = true;
        platform().notice("Cannot run " + shell + " (" + outcome.result.output +
                          "): the installer runs every command through it. Install zsh (Debian "
                          "and Ubuntu: sudo apt install zsh) and run the install again.");
    }
    co_return outcome.result;
}

Task<ShellResult> InstallerViewModel::restartOpenClawGateway() {
    co_return co_await runCommand("openclaw gateway restart", CommandKind::gatewayRestart);
}

Task<std::string> InstallerViewModel::findPython3() {
    // Only emptiness is judged: zsh's `which` prints its "not found" line on standard output,
    // and that line is taken as it is.
    const ShellResult found = co_await shellCommand("which python3");
    std::string path = trimWhitespaceAndNewlines(found.output);
    if (path.empty()) co_return std::string("/usr/bin/python3");
    co_return path;
}

}  // namespace pellix
