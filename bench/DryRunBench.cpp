// What a dry run costs on a 5 MB openclaw.json, measured in the same run as its baselines:
// - the dry run's work on the file (both install edits worked out and judged into a plan, then
//   the one diff) against the real install's two edits of the same file (backup and replace
//   included); target at most 2 x;
// - the whole cost the 5 MB file adds to an install, from outside (the binary's install with the
//   5 MB file minus the same install with a tiny one) against `jq -S .` on the same file; target
//   at most 0.5 x.
// Printed as ratios with the medians they come from.

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "BenchHomes.h"
#include "config/ConfigEdits.h"
#include "config/ConfigTransaction.h"
#include "plan/Plan.h"

namespace test = pellix::test;

namespace {

using pellix::bench::median;
using pellix::bench::secondsFor;

// About 5 MB in the layout the installer writes, so the diff is the entry and the allowlist item.
std::string fiveMegabytes() {
    std::string text =
        "{\n  \"agents\": {\n    \"list\": [\n      {\n        \"id\": \"main\"\n      }\n    ]\n"
        "  },\n  \"history\": [\n";
    for (int i = 0; text.size() < 5u * 1024 * 1024; ++i) {
        text += "    {\n      \"at\": " + std::to_string(1700000000 + i) +
                ",\n      \"note\": \"entry " + std::to_string(i) + " of the padding\"\n    },\n";
    }
    text += "    {}\n  ]\n}\n";
    return text;
}

void editsOf(const std::string& path, pellix::Plan* plan) {
    const pellix::Choices choices;
    pellix::ConfigChangeOptions options{pellix::ConfigBackup::takeBeforeWriting, {}, plan};
    const auto registered = pellix::editConfigFile(
        path,
        [&](pellix::ConfigDocument& document) {
            return pellix::registerAgent(document, choices) == pellix::Registration::added;
        },
        options);
    const auto allowed = pellix::editConfigFile(path, pellix::allowPellix, options);
    if (registered.result != pellix::ConfigEditResult::written ||
        allowed.result != pellix::ConfigEditResult::written) {
        std::fprintf(stderr, "the edits of %s did not write\n", path.c_str());
        std::exit(1);
    }
    if (plan != nullptr && plan->changes().empty()) std::exit(1);
}

}  // namespace

int main(int argc, char** argv) {
    const int rounds = argc > 1 ? std::max(1, std::atoi(argv[1])) : 5;
    test::TempDir root;
    const std::string config = fiveMegabytes();
    std::vector<double> real, dry;
    for (int round = 0; round < rounds; ++round) {
        const std::string folder = root / ("edits-" + std::to_string(round));
        test::makeDirs(folder + "/real");
        test::makeDirs(folder + "/dry");
        test::writeFile(folder + "/real/openclaw.json", config);
        test::writeFile(folder + "/dry/openclaw.json", config);
        real.push_back(secondsFor([&] { editsOf(folder + "/real/openclaw.json", nullptr); }));
        pellix::Plan plan;
        dry.push_back(secondsFor([&] { editsOf(folder + "/dry/openclaw.json", &plan); }));
    }
    const double planRatio = median(dry) / median(real);
    std::printf("5 MB openclaw.json: the two edits %.3f s, the dry run's plan and diff %.3f s\n",
                median(real), median(dry));
    std::printf("dry run / real edits: %.2f (target <= 2.00) %s\n", planRatio,
                planRatio <= 2.0 ? "PASS" : "OVER");

    const test::InstalledCopy copy(root / "app");
    const std::string fakeBin = test::installFakeCommands(root / "fakebin");
    test::writeFile(root / "jq.json", config);
    const std::string jq = "jq -S . '" + (root / "jq.json") + "' >/dev/null";
    std::vector<double> small, large, jqTimes;
    for (int round = 0; round < rounds; ++round) {
        const std::string n = std::to_string(round);
        small.push_back(pellix::bench::timedInstall(
            copy, pellix::bench::newHome(root, "small-" + n, "{\"agents\": {}}", fakeBin)));
        large.push_back(pellix::bench::timedInstall(
            copy, pellix::bench::newHome(root, "large-" + n, config, fakeBin)));
        jqTimes.push_back(secondsFor([&] {
            if (std::system(jq.c_str()) != 0) std::exit(1);
        }));
    }
    const double added = median(large) - median(small);
    const double jqRatio = added / median(jqTimes);
    std::printf(
        "install with 5 MB %.3f s, with a tiny file %.3f s: the file adds %.3f s; "
        "jq -S . %.3f s\n",
        median(large), median(small), added, median(jqTimes));
    std::printf("added by 5 MB / jq -S .: %.2f (target <= 0.50) %s\n", jqRatio,
                jqRatio <= 0.5 ? "PASS" : "OVER");
    return 0;
}
