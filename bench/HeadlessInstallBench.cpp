// How long a whole headless install takes with fakes that answer at once, as a ratio to
// `zsh -c 'sleep 1'` timed in the same run: the service step's own one-second pause is the floor,
// so the ratio shows what the installer adds on top of it. Target: at most 1.10.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <vector>

#include "BenchSupport.h"
#include "HeadlessRun.h"
#include "TestSupport.h"

namespace fs = std::filesystem;

namespace {

using pellix::bench::median;
using pellix::bench::secondsFor;

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    pellix::test::TempDir root;
    const pellix::test::InstalledCopy copy(root / "app");
    const std::string fakeBin = pellix::test::installFakeCommands(root / "fakebin");

    std::vector<double> installs;
    std::vector<double> floors;
    for (int round = 0; round < rounds; ++round) {
        const std::string home = root / ("home-" + std::to_string(round));
        pellix::test::makeDirs(home + "/.openclaw/workspace-main/agents");
        pellix::test::writeFile(home + "/.openclaw/openclaw.json", R"({"agents": {"list": []}})");
        pellix::test::leadChildPathWith(home, fakeBin);
        int status = 0;
        installs.push_back(secondsFor([&] {
            status = pellix::test::runInstaller(copy.executable(), {"--headless", "--json"}, home,
                                                std::nullopt)
                         .exitStatus;
        }));
        if (status != 0) {
            std::fprintf(stderr, "install %d failed with status %d\n", round, status);
            return 1;
        }
        floors.push_back(secondsFor([] { return std::system("zsh -c 'sleep 1'"); }));
    }

    const double ratio = median(installs) / median(floors);
    std::printf("headless install: median %.3f s over %d rounds\n", median(installs), rounds);
    std::printf("zsh -c 'sleep 1': median %.3f s\n", median(floors));
    std::printf("ratio: %.3f (target <= 1.10) %s\n", ratio, ratio <= 1.10 ? "PASS" : "OVER");
    return 0;
}
