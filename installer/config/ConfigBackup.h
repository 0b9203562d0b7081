#pragma once
// What the installer remembers about openclaw.json in one OpenClaw home: a copy of the file as it
// was before the installer first changed it, and digests of the versions it wrote itself. Kept in
// <home>/.pellix-installer, outside the agent's tree, so that an uninstall keeps it. Safe on any
// thread; runs on one home are kept apart by the home lock.

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "files/ContentHash.h"

namespace pellix {

struct BackupPaths {
    std::string folder;  // <home>/.pellix-installer, mode 0700
    std::string copy;    // openclaw.json.backup there, mode 0600: the file can hold API keys
    std::string record;  // openclaw.json.record there: when, the mode, what the installer wrote
};
BackupPaths backupPathsFor(const std::string& configPath);

struct BackupRecord {
    std::string takenAt;               // when the copy was taken; empty when there is none
    mode_t mode = 0600;                // the file's permission bits at that time
    std::vector<ContentHash> written;  // the last versions the installer wrote, newest last
};
// The record, or an empty one when there is none or it cannot be read.
BackupRecord readBackupRecord(const std::string& configPath);
bool writeBackupRecord(const std::string& configPath, const BackupRecord& record);

// Whether `current` is one of the versions the installer wrote last. Two are kept: a run killed
// between recording a write and making it leaves either of them on disk.
bool isInstallersOwnVersion(const BackupRecord& record, const ContentHash& current);

// Remembers that the installer is about to write `version`; false when it cannot.
bool recordOwnVersion(const std::string& configPath, const ContentHash& version);

// Whether takeBackupIfDue would copy the file now; it changes nothing.
bool backupDue(const std::string& configPath, const ContentHash& current, bool mentionsPellix);

enum class BackupResult { taken, kept, fileChanged, failed };

// Before an install writes the file: copies it, with `mode`, unless a copy exists and the file
// is one the installer wrote itself or already holds Pellix's parts (the copy is then still the
// file from before Pellix). `current` is the digest of the version the caller read; a file that
// no longer holds those bytes is not copied (fileChanged).
BackupResult takeBackupIfDue(const std::string& configPath, const ContentHash& current, mode_t mode,
                             bool mentionsPellix);

// The time now in UTC: "2026-11-23T10:04:05Z", or "20261123T100405Z" for file names.
std::string utcTimestamp(bool forFileName = false);

}  // namespace pellix
