#pragma once
// Everything below a folder as it stands: each entry's type, mode, inode, modification time and,
// for files and links, what they hold. Two snapshots are equal when nothing below the folder was
// created, written, moved or removed in between.

#include <map>
#include <string>
#include <vector>

namespace pellix::test {

struct TreeSnapshot {
    std::map<std::string, std::string> entries;  // relative path -> a line describing it
    bool operator==(const TreeSnapshot&) const = default;
};

// Entries whose relative path starts with one of `skipped` are left out.
TreeSnapshot snapshotTree(const std::string& root, const std::vector<std::string>& skipped = {});

// The paths that differ between the two, one a line, for a failure message.
std::string describeDifference(const TreeSnapshot& before, const TreeSnapshot& after);

// Files and links (not folders) below `root`, relative, leaving out paths under `skipped`.
std::vector<std::string> filesBelow(const std::string& root, const std::string& skipped = "");

// `patch` applied to `before`'s bytes with `diff`: what it printed (empty when all went cleanly)
// and the result.
struct Patched {
    std::string messages;
    std::string result;
};
Patched applyPatch(const std::string& before, const std::string& diff);

}  // namespace pellix::test
