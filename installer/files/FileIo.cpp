#include "files/FileIo.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>
#include <xxhash.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <memory>
#include <utility>
#include <vector>

namespace pellix {

namespace {

std::error_code lastError() {
    return {errno, std::generic_category()};
}

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    ~FileDescriptor() {
        if (fd_ >= 0) ::close(fd_);
    }
    int get() const { return fd_; }
    int release() { return std::exchange(fd_, -1); }

private:
    int fd_;
};

bool writeAll(int fd, const std::string& bytes) {
    std::size_t written = 0;
    while (written < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + written, bytes.size() - written);
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) return false;
        written += static_cast<std::size_t>(n);
    }
    return true;
}

FileIdentity identityFrom(const struct stat& info) {
#ifdef __APPLE__
    return {info.st_dev, info.st_ino, info.st_size, info.st_mtimespec, info.st_mode};
#else
    return {info.st_dev, info.st_ino, info.st_size, info.st_mtim, info.st_mode};
#endif
}

void splitTarget(const std::string& target, std::string& folder, std::string& name) {
    const auto slash = target.rfind('/');
    folder = slash == std::string::npos ? "./" : target.substr(0, slash + 1);
    name = slash == std::string::npos ? target : target.substr(slash + 1);
}

// A temporary file held under an exclusive lock from its creation to its rename, so that a
// cleaner can tell a live writer's file from one left by a writer that died.
int createLockedTemporary(std::string& temporary, const std::string& pattern) {
    for (int attempt = 0; attempt < 8; ++attempt) {
        temporary = pattern;
        const int fd = ::mkstemp(temporary.data());
        if (fd < 0) return -1;
        struct stat info {};
        // A cleaner may have taken the file in the moment before the lock.
        if (::flock(fd, LOCK_EX) == 0 && ::fstat(fd, &info) == 0 && info.st_nlink > 0) return fd;
        ::close(fd);
    }
    errno = EAGAIN;
    return -1;
}

mode_t modeFor(const std::string& target, const AtomicWriteOptions& options) {
    if (options.mode) return *options.mode & 07777;
    struct stat existing {};
    if (::stat(target.c_str(), &existing) == 0) return existing.st_mode & 07777;
    const mode_t mask = ::umask(0);
    ::umask(mask);
    return 0666 & ~mask;
}

}  // namespace

bool operator==(const FileIdentity& a, const FileIdentity& b) {
    return a.device == b.device && a.inode == b.inode && a.size == b.size &&
           a.modified.tv_sec == b.modified.tv_sec && a.modified.tv_nsec == b.modified.tv_nsec &&
           a.mode == b.mode;
}

std::string resolveTarget(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return path;
    char resolved[PATH_MAX];
    if (::realpath(path.c_str(), resolved) != nullptr) return resolved;
    return path;
}

std::optional<std::string> readWholeFile(const std::string& path, std::size_t maxBytes) {
    std::optional<FileSnapshot> snapshot = readFileSnapshot(path, maxBytes);
    if (!snapshot) return std::nullopt;
    return std::move(snapshot->bytes);
}

std::optional<FileIdentity> currentIdentity(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return std::nullopt;
    return identityFrom(info);
}

std::optional<FileSnapshot> readFileSnapshot(const std::string& path, std::size_t maxBytes) {
    // Non-blocking so that a named pipe or a device standing in for the file cannot stall the
    // open; anything but a regular file is refused before a byte is read.
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (fd.get() < 0) return std::nullopt;
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
    if (static_cast<std::size_t>(info.st_size) > maxBytes) return std::nullopt;

    FileSnapshot snapshot{{}, identityFrom(info)};
    std::string& bytes = snapshot.bytes;
    // One allocation of the expected size, plus room to notice a file that grew meanwhile.
    bytes.resize(static_cast<std::size_t>(info.st_size) + 1);
    std::size_t filled = 0;
    for (;;) {
        if (filled == bytes.size()) {
            if (bytes.size() > maxBytes) return std::nullopt;
            bytes.resize(std::min(bytes.size() * 2, maxBytes + 1));
        }
        const ssize_t n = ::read(fd.get(), bytes.data() + filled, bytes.size() - filled);
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::nullopt;
        if (n == 0) break;
        filled += static_cast<std::size_t>(n);
    }
    if (filled > maxBytes) return std::nullopt;
    bytes.resize(filled);
    return snapshot;
}

std::variant<PendingWrite, std::error_code> PendingWrite::prepare(const std::string& path,
                                                                  const std::string& bytes,
                                                                  std::optional<mode_t> mode) {
    const std::string target = resolveTarget(path);
    std::string folder;
    std::string name;
    splitTarget(target, folder, name);

    std::string temporary;
    FileDescriptor fd(createLockedTemporary(temporary, folder + "." + name + ".XXXXXX"));
    if (fd.get() < 0) return lastError();
    if (::fchmod(fd.get(), modeFor(target, AtomicWriteOptions{mode, {}})) != 0 ||
        !writeAll(fd.get(), bytes) || ::fsync(fd.get()) != 0) {
        const std::error_code error = lastError();
        ::unlink(temporary.c_str());
        return error;
    }
    return PendingWrite(target, temporary, fd.release());
}

PendingWrite::PendingWrite(std::string target, std::string temporary, int fd)
    : target_(std::move(target)), temporary_(std::move(temporary)), fd_(fd) {}

PendingWrite::PendingWrite(PendingWrite&& other) noexcept
    : target_(std::move(other.target_)),
      temporary_(std::move(other.temporary_)),
      fd_(std::exchange(other.fd_, -1)) {}

PendingWrite::~PendingWrite() {
    if (fd_ < 0) return;
    ::unlink(temporary_.c_str());
    ::close(fd_);
}

std::error_code PendingWrite::commit(const std::function<bool()>& stillCurrent) {
    std::error_code error;
    if (fd_ < 0) {
        error = std::make_error_code(std::errc::bad_file_descriptor);
    } else if (stillCurrent && !stillCurrent()) {
        error = std::make_error_code(std::errc::operation_canceled);
    } else if (::rename(temporary_.c_str(), target_.c_str()) != 0) {
        error = lastError();
    } else {
        // Renamed: nothing is left to remove; the lock goes with the descriptor.
        ::close(std::exchange(fd_, -1));
    }
    return error;
}

std::error_code writeFileAtomically(const std::string& path, const std::string& bytes,
                                    const AtomicWriteOptions& options) {
    auto prepared = PendingWrite::prepare(path, bytes, options.mode);
    if (auto* error = std::get_if<std::error_code>(&prepared)) return *error;
    return std::get<PendingWrite>(prepared).commit(options.stillCurrent);
}

std::error_code copyFileAtomically(const std::string& from, const std::string& to, mode_t mode,
                                   const std::optional<ContentHash>& expected) {
    FileDescriptor source(::open(from.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (source.get() < 0) return lastError();
    std::string folder;
    std::string name;
    splitTarget(to, folder, name);
    std::string temporary;
    FileDescriptor fd(createLockedTemporary(temporary, folder + "." + name + ".XXXXXX"));
    if (fd.get() < 0) return lastError();

    std::string chunk(1 << 20, '\0');
    std::error_code error;
    std::unique_ptr<XXH3_state_t, XXH_errorcode (*)(XXH3_state_t*)> state(XXH3_createState(),
                                                                          XXH3_freeState);
    std::uint64_t size = 0;
    if (!state || XXH3_128bits_reset(state.get()) != XXH_OK || ::fchmod(fd.get(), mode) != 0) {
        error = lastError();
    }
    while (!error) {
        const ssize_t n = ::read(source.get(), chunk.data(), chunk.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) error = lastError();
        if (n <= 0) break;
        chunk.resize(static_cast<std::size_t>(n));
        XXH3_128bits_update(state.get(), chunk.data(), chunk.size());
        size += chunk.size();
        if (!writeAll(fd.get(), chunk)) error = lastError();
        chunk.resize(1 << 20);
    }
    if (!error && ::fsync(fd.get()) != 0) error = lastError();
    if (!error && expected) {
        const XXH128_hash_t digest = XXH3_128bits_digest(state.get());
        if (!(ContentHash{digest.low64, digest.high64, size} == *expected)) {
            error = std::make_error_code(std::errc::operation_canceled);
        }
    }
    if (!error && ::rename(temporary.c_str(), to.c_str()) != 0) error = lastError();
    if (error) ::unlink(temporary.c_str());
    return error;
}

namespace {

bool isTemporaryName(const std::string& candidate, const std::string& prefix) {
    if (candidate.size() != prefix.size() + 6 || candidate.compare(0, prefix.size(), prefix) != 0) {
        return false;
    }
    return std::all_of(candidate.begin() + static_cast<std::ptrdiff_t>(prefix.size()),
                       candidate.end(),
                       [](char c) { return std::isalnum(static_cast<unsigned char>(c)) != 0; });
}

void removeIfAbandoned(const std::string& path) {
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOFOLLOW));
    if (fd.get() < 0) return;
    struct stat held {};
    struct stat named {};
    if (::fstat(fd.get(), &held) != 0 || !S_ISREG(held.st_mode)) return;
    if (::flock(fd.get(), LOCK_EX | LOCK_NB) != 0) return;
    // Only the very file that was locked: the name may have moved on meanwhile.
    if (::lstat(path.c_str(), &named) == 0 && named.st_ino == held.st_ino &&
        named.st_dev == held.st_dev) {
        ::unlink(path.c_str());
    }
}

}  // namespace

void removeStaleTemporaries(const std::string& path) {
    std::string folder;
    std::string name;
    splitTarget(resolveTarget(path), folder, name);
    const std::string prefix = "." + name + ".";
    std::unique_ptr<DIR, int (*)(DIR*)> dir(::opendir(folder.c_str()), ::closedir);
    if (!dir) return;
    std::vector<std::string> found;
    while (const dirent* entry = ::readdir(dir.get())) {
        if (isTemporaryName(entry->d_name, prefix)) found.push_back(folder + entry->d_name);
    }
    for (const std::string& candidate : found) removeIfAbandoned(candidate);
}

bool somethingExistsAt(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

}  // namespace pellix
