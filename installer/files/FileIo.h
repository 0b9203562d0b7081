#pragma once
// Whole-file reads and writes for the files the installer changes. Writes are atomic: a reader
// sees the old bytes or the new ones, never a mix, and a failed write leaves the old file as it
// was. Safe on any thread.

#include <sys/types.h>

#include <cstddef>
#include <ctime>
#include <functional>
#include <optional>
#include <string>
#include <system_error>
#include <variant>

#include "files/ContentHash.h"

namespace pellix {

// The file's bytes, or nothing when it is missing, unreadable, not a regular file, or larger
// than `maxBytes`.
std::optional<std::string> readWholeFile(const std::string& path, std::size_t maxBytes);

// What tells one version of a file from the next without reading it: a replacement changes the
// inode, an edit in place the size or the modification time.
struct FileIdentity {
    dev_t device = 0;
    ino_t inode = 0;
    off_t size = 0;
    std::timespec modified{};
    mode_t mode = 0;
    friend bool operator==(const FileIdentity& a, const FileIdentity& b);
};

// The file's bytes and the identity of the version they were read from; nothing as for
// readWholeFile.
struct FileSnapshot {
    std::string bytes;
    FileIdentity identity;
};
std::optional<FileSnapshot> readFileSnapshot(const std::string& path, std::size_t maxBytes);

// Whether anything (a dangling link too) stands at `path`; links are not followed.
bool somethingExistsAt(const std::string& path);

// The identity of the file at `path` now (links followed), or nothing when there is none.
std::optional<FileIdentity> currentIdentity(const std::string& path);

struct AtomicWriteOptions {
    // The permission bits of the new file; by default the old file's, else 0666 less the umask.
    std::optional<mode_t> mode;
    // Asked with the new bytes safely on disk, just before they replace the file; false cancels
    // the replacement (the result is then std::errc::operation_canceled).
    std::function<bool()> stillCurrent;
};

// Replaces the file at `path` with `bytes` through a temporary file in the same folder and a
// rename. A symbolic link keeps pointing where it did and its target receives the new bytes.
// Returns the system's error on failure.
std::error_code writeFileAtomically(const std::string& path, const std::string& bytes,
                                    const AtomicWriteOptions& options = {});

// writeFileAtomically in two halves, for a caller that has the new bytes checked before they
// land: prepare writes them, with their mode, to a locked temporary file beside the target and
// flushes it; commit renames that very file over the target. A pending write that is dropped
// without a commit removes its temporary file.
class PendingWrite {
public:
    static std::variant<PendingWrite, std::error_code> prepare(const std::string& path,
                                                               const std::string& bytes,
                                                               std::optional<mode_t> mode = {});
    PendingWrite(PendingWrite&& other) noexcept;
    PendingWrite& operator=(PendingWrite&&) = delete;
    PendingWrite(const PendingWrite&) = delete;
    ~PendingWrite();

    // Where the new bytes are until the commit (beside the target, named .<name>.XXXXXX).
    const std::string& temporaryPath() const { return temporary_; }
    // Renames the temporary file over the target, after asking `stillCurrent` (when given);
    // false cancels with std::errc::operation_canceled.
    std::error_code commit(const std::function<bool()>& stillCurrent = {});

private:
    PendingWrite(std::string target, std::string temporary, int fd);
    std::string target_;
    std::string temporary_;
    int fd_ = -1;
};

// Copies the file at `from` to `to` in chunks, through a temporary file beside `to` and a rename;
// the copy gets `mode`. When `expected` is given and the bytes read differ from it, nothing is
// replaced and the result is std::errc::operation_canceled.
std::error_code copyFileAtomically(const std::string& from, const std::string& to, mode_t mode,
                                   const std::optional<ContentHash>& expected = {});

// Where the bytes for `path` land: the final target of a chain of links, or the path itself.
std::string resolveTarget(const std::string& path);

// Removes the temporary files that interrupted writes of `path` left beside its target (only
// names writeFileAtomically makes, and only those no live writer holds).
void removeStaleTemporaries(const std::string& path);

}  // namespace pellix
