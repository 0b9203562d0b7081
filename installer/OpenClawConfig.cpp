#include "OpenClawConfig.h"

#include <sys/stat.h>

#include <new>
#include <utility>

#include "ContentHash.h"
#include "FileIo.h"
#include "steps/ConfigBackup.h"
#include "steps/ConfigDocument.h"
#include "steps/ConfigEdits.h"
#include "steps/ConfigFile.h"

namespace pellix {

namespace {

std::string textOf(const JsonValue* value) {
    return value != nullptr && value->IsString()
               ? std::string(value->GetString(), value->GetStringLength())
               : std::string();
}

bool exists(const std::string& path) {
    struct stat info {};
    return ::lstat(path.c_str(), &info) == 0;
}

// A backup is there when its record says it was taken and the copy is still on disk.
bool backupExists(const BackupRecord& record, const std::string& copy) {
    return !record.takenAt.empty() && exists(copy);
}

// The backup's bytes in place of the file, when the file is still the one the installer wrote
// and the backup differs from it; nothing otherwise.
std::optional<std::string> backupToPutBack(const std::string& configPath,
                                           const ContentHash& current) {
    const BackupRecord record = readBackupRecord(configPath);
    if (record.takenAt.empty() || !isInstallersOwnVersion(record, current)) return std::nullopt;
    std::optional<std::string> bytes =
        readWholeFile(backupPathsFor(configPath).copy, kMaxConfigBytes);
    if (!bytes || hashBytes(*bytes) == current) return std::nullopt;
    return bytes;
}

struct Removal {
    ConfigRemoval outcome = ConfigRemoval::writeFailed;
    ConfigVersion read;
    std::string output;
};

Removal endedWith(ConfigRemoval outcome) {
    Removal removal;
    removal.outcome = outcome;
    return removal;
}

Removal prepareRemoval(const std::string& configPath) {
    Removal removal;
    std::optional<FileSnapshot> snapshot = readFileSnapshot(configPath, kMaxConfigBytes);
    if (!snapshot) return endedWith(ConfigRemoval::unreadable);
    removal.read = {snapshot->identity, hashBytes(snapshot->bytes)};
    std::optional<ConfigDocument> document = ConfigDocument::parse(snapshot->bytes);
    std::string().swap(snapshot->bytes);
    if (!document) return endedWith(ConfigRemoval::unreadable);
    const bool unregistered = unregisterAgent(*document);
    if (!(disallowPellix(*document) || unregistered))
        return endedWith(ConfigRemoval::nothingToRemove);
    if (std::optional<std::string> backup = backupToPutBack(configPath, removal.read.content)) {
        removal.outcome = ConfigRemoval::restoredBackup;
        removal.output = std::move(*backup);
        return removal;
    }
    std::optional<std::string> output = document->serialize();
    if (!output) return endedWith(ConfigRemoval::writeFailed);
    removal.outcome = ConfigRemoval::removed;
    removal.output = std::move(*output);
    return removal;
}

// Where the file being replaced by a restore is kept: beside it, named after the time.
std::string asidePathFor(const std::string& configPath) {
    const std::string base = configPath + ".before-restore-" + utcTimestamp(true);
    std::string path = base;
    for (int n = 2; exists(path); ++n) path = base + "-" + std::to_string(n);
    return path;
}

}  // namespace

PellixConfigState inspectPellixConfig(const std::string& configPath) {
    PellixConfigState state;
    std::optional<ConfigDocument> document;
    try {
        document = loadConfig(configPath);
    } catch (const std::bad_alloc&) {
    }
    if (!document) return state;
    state.readable = true;
    if (const JsonValue* entry = pellixEntryOf(document->root())) {
        state.registered = true;
        state.model = textOf(member(*entry, "model"));
        const JsonValue* minutes = member(*entry, "heartbeatIntervalMinutes");
        if (minutes != nullptr && minutes->IsNumber()) {
            state.heartbeatMinutes = document->numberText(*minutes);
        }
    }
    state.hasMainAgent = mainAgentOf(document->root()) != nullptr;
    state.allowlisted = isAllowlisted(document->root());
    return state;
}

std::optional<ConfigBackupInfo> findConfigBackup(const std::string& configPath) {
    const BackupRecord record = readBackupRecord(configPath);
    const std::string copy = backupPathsFor(configPath).copy;
    if (!backupExists(record, copy)) return std::nullopt;
    return ConfigBackupInfo{copy, record.takenAt};
}

ConfigRemoval removePellixFromConfig(const std::string& configPath) {
    if (!exists(configPath)) return ConfigRemoval::nothingToRemove;
    for (int attempt = 0; attempt < kMaxConfigEditAttempts; ++attempt) {
        Removal removal;
        try {
            removal = prepareRemoval(configPath);
        } catch (const std::bad_alloc&) {
            return ConfigRemoval::writeFailed;
        }
        if (removal.outcome != ConfigRemoval::removed &&
            removal.outcome != ConfigRemoval::restoredBackup) {
            return removal.outcome;
        }
        switch (replaceConfig(configPath, removal.output, removal.read)) {
            case ReplaceResult::replaced:
                return removal.outcome;
            case ReplaceResult::fileChanged:
                continue;
            case ReplaceResult::failed:
                return ConfigRemoval::writeFailed;
        }
    }
    return ConfigRemoval::writeFailed;
}

ConfigRestoreResult restoreConfigBackup(const std::string& configPath) {
    const BackupRecord record = readBackupRecord(configPath);
    const std::string copy = backupPathsFor(configPath).copy;
    if (!backupExists(record, copy)) return {ConfigRestore::noBackup, "", ""};
    std::optional<std::string> bytes = readWholeFile(copy, kMaxConfigBytes);
    if (!bytes) return {ConfigRestore::failed, "", "Cannot read the backup at " + copy};

    ConfigRestoreResult result{ConfigRestore::restored, "", ""};
    ConfigVersion read;
    if (std::optional<FileIdentity> identity = currentIdentity(configPath)) {
        const std::optional<ContentHash> content = hashFile(configPath);
        result.keptAsidePath = asidePathFor(configPath);
        const std::error_code error =
            copyFileAtomically(configPath, result.keptAsidePath, identity->mode & 07777, content);
        if (!content || error) {
            const std::string reason = error ? error.message() : "the file cannot be read";
            return {ConfigRestore::failed, "", "Cannot keep the current file aside: " + reason};
        }
        read = {identity, *content};
    }
    std::error_code error;
    if (replaceConfig(configPath, *bytes, read, record.mode, &error) != ReplaceResult::replaced) {
        const std::string reason = error ? error.message() : "openclaw.json changed meanwhile";
        return {ConfigRestore::failed, result.keptAsidePath, reason};
    }
    return result;
}

}  // namespace pellix
