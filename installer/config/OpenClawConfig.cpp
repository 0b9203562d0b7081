#include "config/OpenClawConfig.h"

#include <new>
#include <utility>

#include "config/ConfigBackup.h"
#include "config/ConfigDocument.h"
#include "config/ConfigEdits.h"
#include "config/ConfigTransaction.h"
#include "config/HostForm.h"
#include "files/ContentHash.h"
#include "files/FileIo.h"
#include "plan/Plan.h"

namespace pellix {

namespace {

std::string textOf(const JsonValue* value) {
    return value != nullptr && value->IsString()
               ? std::string(value->GetString(), value->GetStringLength())
               : std::string();
}

// A backup is there when its record says it was taken and the copy is still on disk.
bool backupExists(const BackupRecord& record, const std::string& copy) {
    return !record.takenAt.empty() && somethingExistsAt(copy);
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

// Where the file being replaced by a restore is kept: beside it, named after the time.
std::string asidePathFor(const std::string& configPath) {
    const std::string base = configPath + ".before-restore-" + utcTimestamp(true);
    std::string path = base;
    for (int n = 2; somethingExistsAt(path); ++n) path = base + "-" + std::to_string(n);
    return path;
}

// A dry run's restore: the current file kept aside, then the backup's bytes in its place.
void planRestore(Plan& plan, const std::string& configPath, std::string backup,
                 ConfigRestoreResult& result) {
    if (!currentIdentity(configPath)) {
        plan.writeConfig(configPath, "", std::move(backup));
        return;
    }
    const std::optional<std::string> today = readWholeFile(configPath, kMaxConfigBytes);
    if (!today) {
        result = {ConfigRestore::failed, "",
                  "Cannot keep the current file aside: the file "
                  "cannot be read"};
        return;
    }
    result.keptAsidePath = asidePathFor(configPath);
    plan.add(PlannedChange::Kind::file, result.keptAsidePath,
             "keep the current openclaw.json here");
    plan.writeConfig(configPath, *today, std::move(backup));
}

}  // namespace

PellixConfigState inspectPellixConfig(const std::string& configPath) {
    std::optional<ConfigDocument> document;
    try {
        document = loadConfig(configPath);
    } catch (const std::bad_alloc&) {
    }
    return document ? inspectPellixConfig(*document) : PellixConfigState{};
}

PellixConfigState inspectPellixConfig(const ConfigDocument& document) {
    PellixConfigState state;
    state.readable = true;
    if (const JsonValue* entry = pellixEntryOf(document.root())) {
        state.registered = true;
        state.form = pellixEntryForm(document.root());
        state.model = textOf(member(*entry, "model"));
        if (const JsonValue* model = member(*entry, "model"); model && model->IsObject()) {
            state.model = textOf(member(*model, "primary"));
        }
        const JsonValue* minutes = member(*entry, "heartbeatIntervalMinutes");
        const JsonValue* heartbeat = member(*entry, "heartbeat");
        if (minutes != nullptr && minutes->IsNumber()) {
            state.heartbeatMinutes = document.numberText(*minutes);
        } else if (const std::optional<long long> every = durationMinutes(
                       textOf(heartbeat != nullptr ? member(*heartbeat, "every") : nullptr))) {
            state.heartbeatMinutes = std::to_string(*every);
        }
    }
    state.hasMainAgent = mainAgentOf(document.root()) != nullptr;
    state.allowlisted = isAllowlisted(document.root());
    return state;
}

std::optional<ConfigBackupInfo> findConfigBackup(const std::string& configPath) {
    const BackupRecord record = readBackupRecord(configPath);
    const std::string copy = backupPathsFor(configPath).copy;
    if (!backupExists(record, copy)) return std::nullopt;
    return ConfigBackupInfo{copy, record.takenAt};
}

ConfigRemovalOutcome removePellixFromConfig(const std::string& configPath,
                                            const ConfigValidator& validator, Plan* plan) {
    if (!somethingExistsAt(configPath)) return {ConfigRemoval::nothingToRemove, {}};
    ConfigRemovalOutcome removal;
    // The backup's bytes first, where they are due; the targeted removal where the host
    // rejects those.
    for (const bool backupAllowed : {true, false}) {
        ConfigRemoval outcome = ConfigRemoval::removed;
        const auto takeOut = [&](ConfigDocument& document, const ContentHash& read) {
            const bool unregistered = unregisterAgent(document);
            if (!(disallowPellix(document) || unregistered)) {
                return ConfigChangeDecision::keepFile();
            }
            if (std::optional<std::string> backup =
                    backupAllowed ? backupToPutBack(configPath, read) : std::nullopt) {
                outcome = ConfigRemoval::restoredBackup;
                return ConfigChangeDecision::write(std::move(*backup));
            }
            outcome = ConfigRemoval::removed;
            return ConfigChangeDecision::printed(document);
        };
        const ConfigChangeOutcome changed =
            changeConfigFile(configPath, takeOut, ConfigChangeOptions{{}, validator, plan});
        removal.verdict = changed.verdict;
        switch (changed.result) {
            case ConfigEditResult::written:
                removal.outcome = outcome;
                return removal;
            case ConfigEditResult::unchanged:
                removal.outcome = ConfigRemoval::nothingToRemove;
                return removal;
            case ConfigEditResult::unreadable:
                removal.outcome = ConfigRemoval::unreadable;
                return removal;
            case ConfigEditResult::writeFailed:
                removal.outcome = ConfigRemoval::writeFailed;
                return removal;
            case ConfigEditResult::rejected:
                removal.outcome = ConfigRemoval::rejected;
                if (outcome != ConfigRemoval::restoredBackup) return removal;
        }
    }
    return removal;
}

ConfigRestoreResult restoreConfigBackup(const std::string& configPath, Plan* plan) {
    const BackupRecord record = readBackupRecord(configPath);
    const std::string copy = backupPathsFor(configPath).copy;
    if (!backupExists(record, copy)) return {ConfigRestore::noBackup, "", ""};
    std::optional<std::string> bytes = readWholeFile(copy, kMaxConfigBytes);
    if (!bytes) return {ConfigRestore::failed, "", "Cannot read the backup at " + copy};

    ConfigRestoreResult result{ConfigRestore::restored, "", ""};
    if (plan != nullptr) {
        planRestore(*plan, configPath, *bytes, result);
        return result;
    }
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
