#include "TreeSnapshot.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

#include "TestSupport.h"

namespace fs = std::filesystem;

namespace pellix::test {

namespace {

bool isSkipped(const std::string& relative, const std::vector<std::string>& skipped) {
    for (const std::string& prefix : skipped) {
        if (relative.starts_with(prefix)) return true;
    }
    return false;
}

std::string describe(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0) return "gone";
    std::string line = std::to_string(info.st_mode) + " ino " + std::to_string(info.st_ino) +
                       " mtime " + std::to_string(info.st_mtim.tv_sec) + "." +
                       std::to_string(info.st_mtim.tv_nsec);
    if (S_ISLNK(info.st_mode)) line += " -> " + fs::read_symlink(path).string();
    if (S_ISREG(info.st_mode)) line += " bytes " + readFile(path);
    return line;
}

}  // namespace

TreeSnapshot snapshotTree(const std::string& root, const std::vector<std::string>& skipped) {
    TreeSnapshot snapshot;
    std::error_code error;
    for (fs::recursive_directory_iterator it(root, error), end; !error && it != end;
         it.increment(error)) {
        const std::string relative = it->path().lexically_relative(root).string();
        if (isSkipped(relative, skipped)) continue;
        snapshot.entries[relative] = describe(it->path().string());
    }
    snapshot.entries["."] = describe(root);
    return snapshot;
}

std::string describeDifference(const TreeSnapshot& before, const TreeSnapshot& after) {
    std::string differences;
    for (const auto& [path, line] : before.entries) {
        const auto found = after.entries.find(path);
        if (found == after.entries.end()) {
            differences += "removed: " + path + "\n";
        } else if (found->second != line) {
            differences += "changed: " + path + "\n";
        }
    }
    for (const auto& [path, line] : after.entries) {
        if (!before.entries.contains(path)) differences += "created: " + path + "\n";
    }
    return differences;
}

std::vector<std::string> filesBelow(const std::string& root, const std::string& skipped) {
    std::vector<std::string> files;
    std::error_code error;
    for (fs::recursive_directory_iterator it(root, error), end; !error && it != end;
         it.increment(error)) {
        const std::string relative = it->path().lexically_relative(root).string();
        if (!skipped.empty() && (relative == skipped || relative.starts_with(skipped + "/"))) {
            continue;
        }
        std::error_code ignored;
        if (!it->is_directory(ignored) || it->is_symlink(ignored)) files.push_back(relative);
    }
    return files;
}

Patched applyPatch(const std::string& before, const std::string& diff) {
    TempDir folder;
    writeFile(folder / "before", before);
    writeFile(folder / "diff", diff);
    const std::string command = "patch -f --binary --fuzz=0 -o '" + (folder / "after") + "' '" +
                                (folder / "before") + "' '" + (folder / "diff") +
                                "' </dev/null 2>&1";
    Patched patched;
    if (FILE* pipe = ::popen(command.c_str(), "r")) {
        char buffer[4096];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;) {
            patched.messages.append(buffer, n);
        }
        if (::pclose(pipe) != 0 && patched.messages.empty()) patched.messages = "patch failed";
    }
    // patch names the file it writes; only what it says beyond that counts.
    if (patched.messages.starts_with("patching file ")) {
        patched.messages.erase(0, patched.messages.find('\n') + 1);
    }
    patched.result = readFile(folder / "after");
    return patched;
}

}  // namespace pellix::test
