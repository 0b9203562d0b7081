#pragma once
// File-level checks for tests that must prove a file was left alone or a write was refused:
// inode identity, folder listings, and a file-size limit that makes writes fail even for root.

#include <sys/resource.h>
#include <sys/types.h>

#include <string>
#include <vector>

namespace pellix::test {

// The inode at `path` (not following a link), or 0 when nothing is there. A file rewritten
// through a temporary and a rename gets a new one.
ino_t inodeOf(const std::string& path);

// The names directly inside `folder`, sorted.
std::vector<std::string> namesIn(const std::string& folder);

// Lowers this process's file-size limit so every write past `bytes` fails with EFBIG, a write
// failure that holds for root too, unlike permission bits. SIGXFSZ is ignored meanwhile.
class FileSizeLimit {
public:
    explicit FileSizeLimit(rlim_t bytes);
    FileSizeLimit(const FileSizeLimit&) = delete;
    FileSizeLimit& operator=(const FileSizeLimit&) = delete;
    ~FileSizeLimit();

private:
    void (*handler_)(int);
    rlimit saved_{};
};

}  // namespace pellix::test
