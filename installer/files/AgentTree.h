#pragma once
// Puts a new copy of the agent's tree in place of an earlier one while carrying the earlier
// tree's ops/ (the agent's and the user's data) across, byte for byte, with modes, times and
// symbolic links as they are. Nothing under ops/ is ever copied or deleted on the way: the
// earlier tree is renamed aside beside the new one (same folder, same filesystem), the new copy
// is renamed into place, the ops/ entries are renamed across, and only then is what was set
// aside (the earlier bundle's own files) deleted. A kill at any moment leaves every ops/ file
// either in the new tree or in the tree set aside, and the next run finishes the move first.
// Where a rename cannot cross (another filesystem mounted below), the entry is copied, checked
// and only then deleted. Blocking; any thread.

#include <cstdint>
#include <string>
#include <system_error>
#include <vector>

namespace pellix {

struct TreeReplacement {
    std::error_code error;
    std::string failedPath;  // where it stopped, when `error` is set
    // ops/ paths (relative to the tree) where the user's file stayed and the new bundle's was
    // written beside it as "<path>.pellix-new".
    std::vector<std::string> keptBeside;

    explicit operator bool() const { return !error; }
    // "<path>: <system text>", or the system's text alone when no path is known.
    std::string describe() const;
};

inline constexpr const char* kBesideSuffix = ".pellix-new";

// Where the earlier tree waits while a reinstall runs: a hidden sibling of `pellixDir`.
std::string setAsidePath(const std::string& pellixDir);

// Whether a killed reinstall left an earlier tree aside.
bool setAsideTreeLeft(const std::string& pellixDir);

// Finishes what a killed reinstall left: the earlier tree is put back when the new one never
// took its place, otherwise its ops/ entries are carried into the new tree and the rest deleted.
TreeReplacement recoverSetAsideTree(const std::string& pellixDir);

// Replaces whatever stands at `pellixDir` with a copy of `bundle`, carrying ops/ across. A
// symbolic link or a file at `pellixDir` is removed, never followed.
TreeReplacement replaceAgentTree(const std::string& bundle, const std::string& pellixDir);

// What replaceAgentTree would do, read without changing anything.
struct TreePlan {
    std::uintmax_t files = 0;  // the bundle's files and links, copied in
    std::uintmax_t bytes = 0;
    std::uintmax_t replacedFiles = 0;  // the earlier tree's own files, deleted
    std::uintmax_t opsFiles = 0;       // ops/ files and links carried across as they are
    std::uintmax_t opsBytes = 0;
    bool recoversSetAside = false;  // a killed reinstall's earlier tree is finished first
    // ops/ paths where the user's file stays and the bundle's is written beside it.
    std::vector<std::string> keptBeside;
    // Folders (relative to the tree) that the copy or the carried ops/ bring along.
    std::vector<std::string> folders;
};
TreePlan planAgentTree(const std::string& bundle, const std::string& pellixDir);

// The files and links below `root` (links counted, never followed) and the bytes of the files.
struct FileCount {
    std::uintmax_t files = 0;
    std::uintmax_t bytes = 0;
};
FileCount countFilesBelow(const std::string& root);

class Plan;
// The same, written into a dry run's plan; returns what it worked out.
TreePlan planTreeReplacement(Plan& plan, const std::string& bundle, const std::string& pellixDir);

}  // namespace pellix
