#pragma once
// Homes for the benchmarks that time whole installs through the binary: an OpenClaw home with
// the given openclaw.json whose children find the fakes first, and one timed install in it.

#include <cstdio>
#include <cstdlib>
#include <string>

#include "BenchSupport.h"
#include "HeadlessRun.h"
#include "TestSupport.h"

namespace pellix::bench {

inline std::string newHome(const test::TempDir& root, const std::string& name,
                           const std::string& config, const std::string& fakeBin) {
    const std::string home = root / name;
    test::makeDirs(home + "/.openclaw/workspace-main/agents");
    test::writeFile(home + "/.openclaw/openclaw.json", config);
    test::leadChildPathWith(home, fakeBin);
    return home;
}

// Seconds `install --json` took; a failed install ends the benchmark.
inline double timedInstall(const test::InstalledCopy& copy, const std::string& home) {
    int status = 0;
    const double seconds = secondsFor([&] {
        status = test::runInstaller(copy.executable(), {"install", "--json"}, home, std::nullopt)
                     .exitStatus;
    });
    if (status != 0) {
        std::fprintf(stderr, "install in %s failed with status %d\n", home.c_str(), status);
        std::exit(1);
    }
    return seconds;
}

}  // namespace pellix::bench
