#include "FileIo.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
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

// Where the bytes must land: the final target of a chain of links, or the path itself.
std::string resolveTarget(const std::string& path) {
    struct stat info {};
    if (::lstat(path.c_str(), &info) != 0 || !S_ISLNK(info.st_mode)) return path;
    char resolved[PATH_MAX];
    if (::realpath(path.c_str(), resolved) != nullptr) return resolved;
    return path;
}

}  // namespace

std::optional<std::string> readWholeFile(const std::string& path, std::size_t maxBytes) {
    // Non-blocking so that a named pipe or a device standing in for the file cannot stall the
    // open; anything but a regular file is refused before a byte is read.
    FileDescriptor fd(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK));
    if (fd.get() < 0) return std::nullopt;
    struct stat info {};
    if (::fstat(fd.get(), &info) != 0 || !S_ISREG(info.st_mode)) return std::nullopt;
    if (static_cast<std::size_t>(info.st_size) > maxBytes) return std::nullopt;

    std::string bytes;
    std::vector<char> buffer(64 * 1024);
    for (;;) {
        const ssize_t n = ::read(fd.get(), buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) continue;
        if (n < 0) return std::nullopt;
        if (n == 0) break;
        bytes.append(buffer.data(), static_cast<std::size_t>(n));
        if (bytes.size() > maxBytes) return std::nullopt;
    }
    return bytes;
}

std::error_code writeFileAtomically(const std::string& path, const std::string& bytes) {
    const std::string target = resolveTarget(path);
    const auto slash = target.rfind('/');
    const std::string folder = slash == std::string::npos ? "." : target.substr(0, slash + 1);
    const std::string name = slash == std::string::npos ? target : target.substr(slash + 1);

    std::string temporary = folder + "." + name + ".XXXXXX";
    FileDescriptor fd(::mkstemp(temporary.data()));
    if (fd.get() < 0) return lastError();

    mode_t mode = 0644;
    struct stat existing {};
    if (::stat(target.c_str(), &existing) == 0) {
        mode = existing.st_mode & 07777;
    } else {
        const mode_t mask = ::umask(0);
        ::umask(mask);
        mode = 0666 & ~mask;
    }

    std::error_code error;
    if (::fchmod(fd.get(), mode) != 0 || !writeAll(fd.get(), bytes) || ::fsync(fd.get()) != 0) {
        error = lastError();
    } else if (::close(fd.release()) != 0) {
        error = lastError();
    } else if (::rename(temporary.c_str(), target.c_str()) != 0) {
        error = lastError();
    }
    if (error) ::unlink(temporary.c_str());
    return error;
}

}  // namespace pellix
