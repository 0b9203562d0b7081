// How much longer a reinstall over an agent tree whose ops/ holds 10,000 files takes than a
// fresh install of the same bundle, measured in the same run: the whole headless install through
// the binary (fakes that answer at once), and the agent-files work alone (the tree replaced and
// the receipt's manifest read), where carrying the data would show if it were copied. Target for
// the whole install: at most 1.2.

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "BenchHomes.h"
#include "HeadlessRun.h"
#include "TestSupport.h"
#include "files/AgentTree.h"
#include "lifecycle/Receipt.h"

namespace test = pellix::test;

namespace {

using pellix::bench::median;
using pellix::bench::secondsFor;

void fillOps(const std::string& pellixDir) {
    for (int i = 0; i < 10000; ++i) {
        test::writeFile(pellixDir + "/ops/memory/day-" + std::to_string(i % 100) + "/note-" +
                            std::to_string(i) + ".md",
                        "note " + std::to_string(i) + "\n");
    }
}

std::string newHome(const test::TempDir& root, const std::string& name,
                    const std::string& fakeBin) {
    return pellix::bench::newHome(root, name, R"({"agents": {"list": []}})", fakeBin);
}

double agentFilesStep(const std::string& bundle, const std::string& pellixDir) {
    return secondsFor([&] {
        if (!pellix::replaceAgentTree(bundle, pellixDir)) std::exit(1);
        (void)pellix::manifestOf(bundle);
    });
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 3;
    test::TempDir root;
    const test::InstalledCopy copy(root / "app");
    const std::string fakeBin = test::installFakeCommands(root / "fakebin");
    const std::string agents = "/.openclaw/workspace-main/agents/pellix-unified";

    std::vector<double> fresh, again, freshStep, againStep;
    for (int round = 0; round < rounds; ++round) {
        fresh.push_back(pellix::bench::timedInstall(
            copy, newHome(root, "fresh-" + std::to_string(round), fakeBin)));
        const std::string home = newHome(root, "again-" + std::to_string(round), fakeBin);
        pellix::bench::timedInstall(copy, home);
        fillOps(home + agents);
        again.push_back(pellix::bench::timedInstall(copy, home));

        const std::string stepRoot = root / ("step-" + std::to_string(round));
        test::makeDirs(stepRoot + "/fresh/agents");
        freshStep.push_back(agentFilesStep(copy.bundleDir(), stepRoot + "/fresh/agents/tree"));
        test::makeDirs(stepRoot + "/again/agents");
        agentFilesStep(copy.bundleDir(), stepRoot + "/again/agents/tree");
        fillOps(stepRoot + "/again/agents/tree");
        againStep.push_back(agentFilesStep(copy.bundleDir(), stepRoot + "/again/agents/tree"));
    }
    const double ratio = median(again) / median(fresh);
    std::printf(
        "fresh install: median %.3f s; reinstall over 10,000 ops files: median %.3f s "
        "(%d rounds)\n",
        median(fresh), median(again), rounds);
    std::printf("ratio: %.3f (target <= 1.20) %s\n", ratio, ratio <= 1.20 ? "PASS" : "OVER");
    std::printf("agent files alone: fresh %.4f s, over 10,000 ops files %.4f s, ratio %.2f\n",
                median(freshStep), median(againStep), median(againStep) / median(freshStep));
    return 0;
}
