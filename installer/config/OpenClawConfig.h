#pragma once
// What the installer knows how to do to openclaw.json besides installing: look at the Pellix
// parts of it, take them out again, and put back the file as it was before the installer first
// changed it. Every write is atomic and keeps the file's permissions. Safe on any thread; never
// throws.

#include <optional>
#include <string>

#include "config/HostVerdict.h"

namespace pellix {

// The Pellix parts of the file, as the status command shows them.
class ConfigDocument;

struct PellixConfigState {
    bool readable = false;         // one JSON document with an object at the top
    bool registered = false;       // an entry whose "name" or "id" (or key) is "pellix"
    std::string form;              // where it stands: "agents.list", "agents.entries", ...
    std::string model;             // its "model" (or "model"."primary"), else empty
    std::string heartbeatMinutes;  // its "heartbeatIntervalMinutes" as written, or the minutes
                                   // of its "heartbeat"."every"; else empty
    bool hasMainAgent = false;     // the agent list has an entry whose identity is "main"
    bool allowlisted = false;      // "pellix" is in the main agent's subagents.allowAgents
};
PellixConfigState inspectPellixConfig(const std::string& configPath);
// The same, of a document already read.
PellixConfigState inspectPellixConfig(const ConfigDocument& document);

// The copy of the file taken before the installer first changed it.
struct ConfigBackupInfo {
    std::string path;     // where the copy is kept
    std::string takenAt;  // when it was taken, ISO 8601 in UTC ("2026-11-23T10:04:05Z")
};
std::optional<ConfigBackupInfo> findConfigBackup(const std::string& configPath);

// Takes the agent's entry out (in whichever form it stands) and "pellix" out of the main
// agent's allowAgents, leaving everything else as it was. When the file is still byte for byte
// what the installer last wrote, the backup's bytes are put back instead, unless the host
// rejects those (it may have moved on since); `rejected`: the host rejects the file without
// Pellix while it accepts it as it is, and it was left alone.
enum class ConfigRemoval {
    removed,
    restoredBackup,
    nothingToRemove,
    unreadable,
    writeFailed,
    rejected,
};
struct ConfigRemovalOutcome {
    ConfigRemoval outcome = ConfigRemoval::writeFailed;
    HostVerdict verdict;  // what the host said of the bytes written (or refused)
};
class Plan;
// With a dry run's plan, the change is written into it instead of the file.
ConfigRemovalOutcome removePellixFromConfig(const std::string& configPath,
                                            const ConfigValidator& validator = {},
                                            Plan* plan = nullptr);

// Puts back the backup's bytes and mode; the file it replaces is kept aside first.
enum class ConfigRestore { restored, noBackup, failed };
struct ConfigRestoreResult {
    ConfigRestore outcome = ConfigRestore::failed;
    std::string keptAsidePath;  // where the replaced file now is; empty when there was none
    std::string error;          // the system's message when the restore failed
};
ConfigRestoreResult restoreConfigBackup(const std::string& configPath, Plan* plan = nullptr);

}  // namespace pellix
