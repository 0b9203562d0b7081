// What a replacement of the agent's tree would do, worked out by reading the bundle and the trees
// on disk: the dry run's account of replaceAgentTree.

#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <map>

#include "files/AgentTree.h"
#include "files/ContentHash.h"
#include "files/FileIo.h"
#include "plan/Plan.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

struct Entry {
    bool folder = false;
    std::uintmax_t bytes = 0;
    std::string path;  // absolute, for comparing contents
};

// Every entry below `root` by its path relative to it; links are entries, never followed.
std::map<std::string, Entry> entriesBelow(const std::string& root) {
    std::map<std::string, Entry> entries;
    struct stat info {};
    if (::lstat(root.c_str(), &info) != 0 || !S_ISDIR(info.st_mode)) return entries;
    std::error_code error;
    for (fs::recursive_directory_iterator it(root, error), end; !error && it != end;
         it.increment(error)) {
        const std::string path = it->path().string();
        Entry entry{false, 0, path};
        if (::lstat(path.c_str(), &info) != 0) continue;
        entry.folder = S_ISDIR(info.st_mode);
        if (S_ISREG(info.st_mode)) entry.bytes = static_cast<std::uintmax_t>(info.st_size);
        entries.emplace(it->path().lexically_relative(root).string(), entry);
    }
    return entries;
}

bool underOps(const std::string& relative) {
    return relative == "ops" || relative.starts_with("ops/");
}

bool sameBytes(const Entry& a, const Entry& b) {
    if (a.folder || b.folder || a.bytes != b.bytes) return false;
    const auto left = hashFile(a.path);
    return left && left == hashFile(b.path);
}

}  // namespace

FileCount countFilesBelow(const std::string& root) {
    FileCount count;
    for (const auto& [relative, entry] : entriesBelow(root)) {
        if (entry.folder) continue;
        ++count.files;
        count.bytes += entry.bytes;
    }
    return count;
}

TreePlan planAgentTree(const std::string& bundle, const std::string& pellixDir) {
    TreePlan plan;
    const std::map<std::string, Entry> incoming = entriesBelow(bundle);
    for (const auto& [relative, entry] : incoming) {
        if (entry.folder) {
            plan.folders.push_back(relative);
            continue;
        }
        ++plan.files;
        plan.bytes += entry.bytes;
    }
    // The earlier tree's ops/ is what is carried: the one set aside by a killed run, else the
    // one in place.
    const std::string aside = setAsidePath(pellixDir);
    plan.recoversSetAside = somethingExistsAt(aside);
    const std::string earlier =
        plan.recoversSetAside && !somethingExistsAt(pellixDir) ? aside : pellixDir;
    std::map<std::string, Entry> previous = entriesBelow(earlier);
    if (plan.recoversSetAside && earlier != aside) {
        for (auto& [relative, entry] : entriesBelow(aside)) {
            if (underOps(relative)) previous.insert_or_assign(relative, entry);
        }
    }
    for (const auto& [relative, entry] : previous) {
        if (!underOps(relative)) {
            if (!entry.folder) ++plan.replacedFiles;
            continue;
        }
        const auto bundled = incoming.find(relative);
        if (entry.folder) {
            if (bundled == incoming.end()) plan.folders.push_back(relative);
            continue;
        }
        ++plan.opsFiles;
        plan.opsBytes += entry.bytes;
        if (bundled != incoming.end() && !sameBytes(entry, bundled->second)) {
            plan.keptBeside.push_back(relative);
        }
    }
    std::sort(plan.folders.begin(), plan.folders.end());
    return plan;
}

TreePlan planTreeReplacement(Plan& plan, const std::string& bundle, const std::string& pellixDir) {
    TreePlan tree = planAgentTree(bundle, pellixDir);
    if (tree.recoversSetAside) {
        plan.add(PlannedChange::Kind::agentFiles, setAsidePath(pellixDir),
                 "finish the reinstall that was cut short: carry its ops/ across, delete the "
                 "rest");
    }
    std::string copy = "copy " + describeFiles(tree.files, tree.bytes) + " from the bundle";
    if (tree.replacedFiles > 0) {
        copy += ", in place of the earlier tree's " + std::to_string(tree.replacedFiles) +
                (tree.replacedFiles == 1 ? " file" : " files");
    }
    plan.add(PlannedChange::Kind::agentFiles, pellixDir, copy);
    if (tree.opsFiles > 0) {
        plan.add(PlannedChange::Kind::agentFiles, pellixDir + "/ops",
                 "carry across as they are: " + describeFiles(tree.opsFiles, tree.opsBytes));
    }
    for (const std::string& relative : tree.keptBeside) {
        plan.add(PlannedChange::Kind::file, pellixDir + "/" + relative + kBesideSuffix,
                 "the bundle's copy, written beside the user's " + relative);
    }
    return tree;
}

}  // namespace pellix
