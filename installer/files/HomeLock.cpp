#include "files/HomeLock.h"

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

#include <cerrno>
#include <utility>

namespace pellix {

HomeLock::Outcome HomeLock::tryAcquire(const std::string& openclawHome,
                                       std::optional<HomeLock>& lock) {
    lock.reset();
    // A separate open file description per call, so two HomeLocks of one process exclude each
    // other as two processes do (flock locks belong to the description, not the process).
    const int fd = ::open(openclawHome.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0) return Outcome::unavailable;
    for (;;) {
        if (::flock(fd, LOCK_EX | LOCK_NB) == 0) {
            lock.emplace(HomeLock(fd));
            return Outcome::acquired;
        }
        if (errno == EINTR) continue;
        const bool busy = errno == EWOULDBLOCK;
        ::close(fd);
        return busy ? Outcome::busy : Outcome::unavailable;
    }
}

HomeLock::HomeLock(HomeLock&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}

HomeLock& HomeLock::operator=(HomeLock&& other) noexcept {
    if (this != &other) {
        if (fd_ >= 0) ::close(fd_);
        fd_ = std::exchange(other.fd_, -1);
    }
    return *this;
}

HomeLock::~HomeLock() {
    // Closing the last descriptor of the description releases the lock.
    if (fd_ >= 0) ::close(fd_);
}

std::string anotherInstallerRunningMessage(const std::string& openclawHome) {
    return "Another Pellix installer is already working on " + openclawHome +
           ". Wait for it to finish, then try again.";
}

}  // namespace pellix
