// Window start-up: time from process start to the first painted frame of the welcome screen, and
// peak memory, each as a ratio to a bare Qt Widgets window of the same size measured in the same
// run (target: at most 1.25 for both); then the largest event-loop gap during a whole install with
// fakes that answer at once.

#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <string>
#include <vector>

extern char** environ;

namespace {

struct Sample {
    double milliseconds = 0;
    double peakMegabytes = 0;
    std::string output;
};

long long monotonicNanoseconds() {
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<long long>(now.tv_sec) * 1000000000LL + now.tv_nsec;
}

Sample runProbe(const std::string& probe, const char* mode) {
    int pipeFds[2];
    if (pipe(pipeFds) != 0) std::exit(1);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, pipeFds[1], STDOUT_FILENO);
    posix_spawn_file_actions_addclose(&actions, pipeFds[0]);
    char* argv[] = {const_cast<char*>(probe.c_str()), const_cast<char*>(mode), nullptr};
    const long long started = monotonicNanoseconds();
    pid_t pid = 0;
    if (posix_spawn(&pid, probe.c_str(), &actions, nullptr, argv, environ) != 0) std::exit(1);
    posix_spawn_file_actions_destroy(&actions);
    close(pipeFds[1]);
    Sample sample;
    char buffer[256];
    for (ssize_t n; (n = read(pipeFds[0], buffer, sizeof buffer)) > 0;)
        sample.output.append(buffer, n);
    close(pipeFds[0]);
    int status = 0;
    rusage usage{};
    wait4(pid, &status, 0, &usage);
    if (!WIFEXITED(status) || WEXITSTATUS(status) != 0) {
        std::fprintf(stderr, "probe %s failed\n", mode);
        std::exit(1);
    }
    sample.milliseconds = (std::atoll(sample.output.c_str()) - started) / 1e6;
    sample.peakMegabytes = usage.ru_maxrss / 1024.0;  // kilobytes on Linux
    return sample;
}

double median(std::vector<double> values) {
    std::sort(values.begin(), values.end());
    return values[values.size() / 2];
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 7;
    const std::string self = argv[0];
    const std::string probe = self.substr(0, self.rfind('/') + 1) + "bench_window_probe";

    std::vector<double> realTimes, bareTimes, realMemory, bareMemory;
    runProbe(probe, "--bare");  // warms the file cache for both
    for (int round = 0; round < rounds; ++round) {
        const Sample real = runProbe(probe, "--real");
        const Sample bare = runProbe(probe, "--bare");
        realTimes.push_back(real.milliseconds);
        bareTimes.push_back(bare.milliseconds);
        realMemory.push_back(real.peakMegabytes);
        bareMemory.push_back(bare.peakMegabytes);
    }
    const double timeRatio = median(realTimes) / median(bareTimes);
    const double memoryRatio = median(realMemory) / median(bareMemory);
    std::printf(
        "first frame: installer %.1f ms, bare window %.1f ms, ratio %.3f (target <= 1.25) %s\n",
        median(realTimes), median(bareTimes), timeRatio, timeRatio <= 1.25 ? "PASS" : "OVER");
    std::printf(
        "peak memory: installer %.1f MB, bare window %.1f MB, ratio %.3f (target <= 1.25) %s\n",
        median(realMemory), median(bareMemory), memoryRatio, memoryRatio <= 1.25 ? "PASS" : "OVER");
    const Sample install = runProbe(probe, "--install");
    std::printf("largest event-loop gap during a whole install: %s", install.output.c_str());
    return 0;
}
