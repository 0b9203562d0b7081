#pragma once
// One install or uninstall per OpenClaw home at a time, across processes: an advisory lock on the
// home folder itself, held for as long as the HomeLock lives and dropped by the kernel when the
// process dies. Any thread; the lock belongs to the process, not to the thread.

#include <optional>
#include <string>

namespace pellix {

class HomeLock {
public:
    enum class Outcome { acquired, busy, unavailable };

    // Tries once, without waiting. `busy` when another process (or another HomeLock in this
    // process) holds the lock; `unavailable` when the home cannot be opened (missing, not a
    // folder): there is then nothing to protect, and callers go on without a lock.
    static Outcome tryAcquire(const std::string& openclawHome, std::optional<HomeLock>& lock);

    HomeLock(HomeLock&& other) noexcept;
    HomeLock& operator=(HomeLock&& other) noexcept;
    HomeLock(const HomeLock&) = delete;
    HomeLock& operator=(const HomeLock&) = delete;
    ~HomeLock();

private:
    explicit HomeLock(int fd) : fd_(fd) {}
    int fd_ = -1;
};

// The words the front ends use when the lock is busy.
std::string anotherInstallerRunningMessage(const std::string& openclawHome);

}  // namespace pellix
