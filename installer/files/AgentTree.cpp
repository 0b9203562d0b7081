#include "files/AgentTree.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>

#include "files/ContentHash.h"
#include "files/FileIo.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

std::error_code lastError() {
    return {errno, std::generic_category()};
}

// Access and modification times, as utimensat takes them.
void timesOf(const struct stat& info, struct timespec (&times)[2]) {
#ifdef __APPLE__
    times[0] = info.st_atimespec;
    times[1] = info.st_mtimespec;
#else
    times[0] = info.st_atim;
    times[1] = info.st_mtim;
#endif
}

void copyTimes(const std::string& source, const std::string& target) {
    struct stat info {};
    if (::lstat(source.c_str(), &info) != 0) return;
    struct timespec times[2];
    timesOf(info, times);
    ::utimensat(AT_FDCWD, target.c_str(), times, AT_SYMLINK_NOFOLLOW);
}

// A real directory, not a link to one.
bool isDirectory(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// Makes the renames in `folder` durable before anything they protect is deleted.
void syncFolder(const std::string& folder) {
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return;
    ::fsync(fd);
    ::close(fd);
}

std::string parentOf(const std::string& path) {
    return fs::path(path).parent_path().string();
}

class Carrier {
public:
    explicit Carrier(TreeReplacement& outcome) : outcome_(outcome) {}

    // Brings the entry at `from` to `to`: renamed when nothing is there; merged, entry by
    // entry, when both are directories; otherwise the one at `to` (the new bundle's) moves
    // beside as "<to>.pellix-new" and the user's takes its place, unless both hold the same
    // bytes.
    bool carry(const std::string& from, const std::string& to, const std::string& relative) {
        if (!somethingExistsAt(to)) return move(from, to);
        if (isDirectory(from) && isDirectory(to)) return merge(from, to, relative);
        if (sameFile(from, to)) return move(from, to);
        const std::string beside = to + kBesideSuffix;
        std::error_code ignored;
        fs::remove_all(beside, ignored);
        if (::rename(to.c_str(), beside.c_str()) != 0) return fail(to, lastError());
        outcome_.keptBeside.push_back(relative);
        return move(from, to);
    }

private:
    bool merge(const std::string& from, const std::string& to, const std::string& relative) {
        std::error_code error;
        std::vector<std::string> names;
        for (fs::directory_iterator it(from, error), end; !error && it != end;
             it.increment(error)) {
            names.push_back(it->path().filename().string());
        }
        if (error) return fail(from, error);
        for (const std::string& name : names) {
            if (!carry(from + "/" + name, to + "/" + name, relative + "/" + name)) return false;
        }
        // The folder keeps the user's mode and times, not the new bundle's.
        struct stat info {};
        if (::lstat(from.c_str(), &info) == 0) ::chmod(to.c_str(), info.st_mode & 07777);
        copyTimes(from, to);
        syncFolder(to);
        if (::rmdir(from.c_str()) != 0) return fail(from, lastError());
        return true;
    }

    bool move(const std::string& from, const std::string& to) {
        if (::rename(from.c_str(), to.c_str()) == 0) {
            syncFolder(parentOf(to));
            return true;
        }
        if (errno != EXDEV) return fail(from, lastError());
        return copyCheckAndDelete(from, to);
    }

    // Across filesystems: a full copy, every file checked against its source, then the source
    // deleted.
    bool copyCheckAndDelete(const std::string& from, const std::string& to) {
        std::error_code error;
        fs::copy(from, to, fs::copy_options::recursive | fs::copy_options::copy_symlinks, error);
        if (error) return fail(from, error);
        if (!sameTree(from, to)) return fail(to, std::make_error_code(std::errc::io_error));
        keepTimes(from, to);
        fs::remove_all(from, error);
        if (error) return fail(from, error);
        return true;
    }

    static bool sameFile(const std::string& a, const std::string& b) {
        struct stat first {
        }, second{};
        if (::lstat(a.c_str(), &first) != 0 || ::lstat(b.c_str(), &second) != 0) return false;
        if (!S_ISREG(first.st_mode) || !S_ISREG(second.st_mode)) return false;
        if (first.st_size != second.st_size) return false;
        const auto left = hashFile(a);
        return left && left == hashFile(b);
    }

    static bool sameTree(const std::string& from, const std::string& to) {
        if (!isDirectory(from)) {
            return !fs::is_regular_file(fs::symlink_status(from)) || sameFile(from, to);
        }
        std::error_code error;
        for (fs::recursive_directory_iterator it(from, error), end; !error && it != end;
             it.increment(error)) {
            if (!it->is_regular_file(error) || it->is_symlink(error)) continue;
            const std::string relative = it->path().lexically_relative(from).string();
            if (!sameFile(it->path().string(), to + "/" + relative)) return false;
        }
        return !error;
    }

    static void keepTimes(const std::string& from, const std::string& to) {
        std::error_code error;
        if (isDirectory(from)) {
            for (fs::recursive_directory_iterator it(from, error), end; !error && it != end;
                 it.increment(error)) {
                const std::string relative = it->path().lexically_relative(from).string();
                copyTimes(it->path().string(), to + "/" + relative);
            }
        }
        copyTimes(from, to);
    }

    bool fail(const std::string& path, std::error_code error) {
        outcome_.error = error;
        outcome_.failedPath = path;
        return false;
    }

    TreeReplacement& outcome_;
};

// Carries the ops/ of the tree set aside into `pellixDir`, then deletes the rest of it.
TreeReplacement finishCarrying(const std::string& pellixDir, TreeReplacement outcome) {
    const std::string aside = setAsidePath(pellixDir);
    if (somethingExistsAt(aside + "/ops")) {
        Carrier carrier(outcome);
        if (!carrier.carry(aside + "/ops", pellixDir + "/ops", "ops")) return outcome;
    }
    syncFolder(pellixDir);
    std::error_code error;
    fs::remove_all(aside, error);
    if (error) {
        outcome.error = error;
        outcome.failedPath = aside;
    }
    return outcome;
}

std::string incomingPath(const std::string& pellixDir) {
    const fs::path path(pellixDir);
    return (path.parent_path() / ("." + path.filename().string() + ".incoming")).string();
}

}  // namespace

std::string TreeReplacement::describe() const {
    return failedPath.empty() ? error.message() : failedPath + ": " + error.message();
}

std::string setAsidePath(const std::string& pellixDir) {
    const fs::path path(pellixDir);
    return (path.parent_path() / ("." + path.filename().string() + ".previous")).string();
}

bool setAsideTreeLeft(const std::string& pellixDir) {
    return somethingExistsAt(setAsidePath(pellixDir));
}

TreeReplacement recoverSetAsideTree(const std::string& pellixDir) {
    TreeReplacement outcome;
    const std::string aside = setAsidePath(pellixDir);
    if (!somethingExistsAt(aside)) return outcome;
    if (!somethingExistsAt(pellixDir)) {
        // Killed between the two renames: the earlier tree goes back where it was.
        if (::rename(aside.c_str(), pellixDir.c_str()) != 0) {
            outcome.error = lastError();
            outcome.failedPath = aside;
        }
        syncFolder(parentOf(pellixDir));
        return outcome;
    }
    return finishCarrying(pellixDir, std::move(outcome));
}

TreeReplacement replaceAgentTree(const std::string& bundle, const std::string& pellixDir) {
    TreeReplacement outcome = recoverSetAsideTree(pellixDir);
    if (!outcome) return outcome;
    auto failed = [&outcome](const std::string& path, std::error_code error) {
        outcome.error = error;
        outcome.failedPath = path;
        return outcome;
    };
    // A copy a killed run left half made holds nothing but the bundle's files.
    const std::string incoming = incomingPath(pellixDir);
    std::error_code error;
    fs::remove_all(incoming, error);
    if (error) return failed(incoming, error);
    fs::copy(bundle, incoming, fs::copy_options::recursive | fs::copy_options::copy_symlinks,
             error);
    if (error) {
        std::error_code ignored;
        fs::remove_all(incoming, ignored);
        return failed(std::string(), error);
    }
    syncFolder(incoming);
    if (isDirectory(pellixDir)) {
        if (::rename(pellixDir.c_str(), setAsidePath(pellixDir).c_str()) != 0) {
            return failed(pellixDir, lastError());
        }
    } else if (somethingExistsAt(pellixDir) && ::unlink(pellixDir.c_str()) != 0) {
        // A link or a file: removing it deletes nothing beneath it.
        return failed(pellixDir, lastError());
    }
    if (::rename(incoming.c_str(), pellixDir.c_str()) != 0) return failed(incoming, lastError());
    syncFolder(parentOf(pellixDir));
    return finishCarrying(pellixDir, std::move(outcome));
}

}  // namespace pellix
