// The two edits of openclaw.json (register, then allowlist) on a 5 MB and a 100 MB file, against
// `jq -S .` on the same file, each run once in a child process of its own so that its wall time
// and peak memory are its own. Printed as ratios; targets: at most 0.5 x jq's time and 1.5 x its
// peak memory.

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "ConfigOracle.h"
#include "TestSupport.h"

extern char** environ;

namespace {

struct Run {
    bool ok = false;
    double seconds = 0;
    long peakKilobytes = 0;
};

Run measure(std::vector<std::string> arguments, const std::string& output) {
    std::vector<char*> argv;
    for (std::string& argument : arguments) argv.push_back(argument.data());
    argv.push_back(nullptr);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, output.c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0644);
    const auto start = std::chrono::steady_clock::now();
    pid_t pid = 0;
    Run run;
    if (posix_spawnp(&pid, argv[0], &actions, nullptr, argv.data(), environ) == 0) {
        int status = 0;
        rusage usage{};
        if (::wait4(pid, &status, 0, &usage) == pid) {
            run.ok = WIFEXITED(status) && WEXITSTATUS(status) == 0;
            run.peakKilobytes = usage.ru_maxrss;
        }
    }
    run.seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    posix_spawn_file_actions_destroy(&actions);
    return run;
}

// The child's side: both edits, as the install runs them.
int editInPlace(const std::string& config) {
    pellix::test::WorkerSetup setup(pellix::test::testPlatform("/nonexistent"));
    const pellix::StepResult registered =
        pellix::steps::registerPellixAgent(setup.context(), config).runToCompletion();
    const pellix::StepResult allowed =
        pellix::steps::addToAllowlist(setup.context(), config).runToCompletion();
    std::printf("%s\n%s\n", registered.detail.c_str(), allowed.detail.c_str());
    return registered.status == pellix::StepStatus::success &&
                   allowed.detail == "Added to main agent's spawn allowlist"
               ? 0
               : 1;
}

bool compare(const char* self, const pellix::test::TempDir& root, std::size_t bytes,
             const char* label) {
    const std::string config = root / (std::string(label) + ".json");
    const std::string copy = root / (std::string(label) + "-jq.json");
    {
        const std::string text = pellix::test::sampleConfig(bytes);
        pellix::test::writeFile(config, text);
        pellix::test::writeFile(copy, text);
    }
    const Run jq = measure({"jq", "-S", ".", copy}, "/dev/null");
    const Run ours = measure({self, "--edit", config}, root / "edit.out");
    if (!jq.ok || !ours.ok) {
        std::fprintf(stderr, "%s: %s failed\n", label, jq.ok ? "the edits" : "jq -S .");
        return false;
    }
    const double time = ours.seconds / jq.seconds;
    const double memory = static_cast<double>(ours.peakKilobytes) / jq.peakKilobytes;
    std::printf("%s: edits %.3f s, %ld KiB; jq -S . %.3f s, %ld KiB\n", label, ours.seconds,
                ours.peakKilobytes, jq.seconds, jq.peakKilobytes);
    std::printf("%s: time ratio %.2f (target <= 0.50) %s, memory ratio %.2f (target <= 1.50) %s\n",
                label, time, time <= 0.5 ? "PASS" : "OVER", memory,
                memory <= 1.5 ? "PASS" : "OVER");
    return true;
}

}  // namespace

int main(int argc, char** argv) {
    if (argc == 3 && std::strcmp(argv[1], "--edit") == 0) return editInPlace(argv[2]);
    pellix::test::TempDir root;
    bool ok = compare(argv[0], root, 5'000'000, "5 MB");
    ok = compare(argv[0], root, 100'000'000, "100 MB") && ok;
    return ok ? 0 : 1;
}
