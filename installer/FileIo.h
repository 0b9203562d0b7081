#pragma once
// Whole-file reads and writes for the files the installer changes. Writes are atomic: a reader
// sees the old bytes or the new ones, never a mix, and a failed write leaves the old file as it
// was. Safe on any thread.

#include <cstddef>
#include <optional>
#include <string>
#include <system_error>

namespace pellix {

// The file's bytes, or nothing when it is missing, unreadable, not a regular file, or larger
// than `maxBytes`.
std::optional<std::string> readWholeFile(const std::string& path, std::size_t maxBytes);

// Replaces the file at `path` with `bytes` through a temporary file in the same folder and a
// rename. An existing file keeps its permission bits; a symbolic link keeps pointing where it did
// and its target receives the new bytes. Returns the system's error on failure.
std::error_code writeFileAtomically(const std::string& path, const std::string& bytes);

}  // namespace pellix
