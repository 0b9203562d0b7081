#include "config/ConfigTransaction.h"

#include <new>
#include <utility>

#include "config/AgentList.h"
#include "config/ConfigBackup.h"
#include "plan/Plan.h"

namespace pellix {

namespace {

bool stillTheVersionRead(const std::string& target, const ConfigVersion& read) {
    const std::optional<FileIdentity> now = currentIdentity(target);
    if (!read.identity || !now) return !read.identity && !now;
    if (!(*now == *read.identity)) return false;
    // The same identity can still hide a rewrite within one tick of the clock.
    const std::optional<ContentHash> content = hashFile(target);
    return content && *content == read.content;
}

struct WorkedOut {
    ConfigEditResult result = ConfigEditResult::writeFailed;
    ConfigVersion read;
    mode_t mode = 0;
    bool mentionedPellix = false;
    std::string output;
    std::string today;  // a dry run's: the file's bytes as they are on disk
};

WorkedOut endedWith(ConfigEditResult result) {
    WorkedOut worked;
    worked.result = result;
    return worked;
}

// One read, parse and decision. The document is gone when this returns, so the peak holds the
// file's bytes and the document, then the document and the output, never all three (a dry run
// keeps the file's bytes for its diff). A dry run reads the bytes its plan has left so far.
WorkedOut readAndWorkOut(const std::string& path, const ConfigChange& change, const Plan* plan) {
    WorkedOut worked;
    std::optional<FileSnapshot> snapshot = readFileSnapshot(path, kMaxConfigBytes);
    if (!snapshot) return endedWith(ConfigEditResult::unreadable);
    if (plan != nullptr) {
        std::optional<std::string> planned = plan->plannedBytes(path);
        worked.today =
            planned ? std::exchange(snapshot->bytes, std::move(*planned)) : snapshot->bytes;
    }
    worked.read = {snapshot->identity, hashBytes(snapshot->bytes)};
    worked.mode = snapshot->identity.mode & 07777;
    try {
        std::optional<ConfigDocument> document = ConfigDocument::parse(snapshot->bytes);
        std::string().swap(snapshot->bytes);
        if (!document) return endedWith(ConfigEditResult::unreadable);
        worked.mentionedPellix = mentionsPellix(document->root());
        ConfigChangeDecision decision = change(*document, worked.read.content);
        switch (decision.action) {
            case ConfigChangeDecision::Action::keep:
                return endedWith(ConfigEditResult::unchanged);
            case ConfigChangeDecision::Action::fail:
                return endedWith(ConfigEditResult::writeFailed);
            case ConfigChangeDecision::Action::write:
                worked.output = std::move(decision.bytes);
        }
    } catch (const std::bad_alloc&) {
        return endedWith(ConfigEditResult::writeFailed);
    }
    worked.result = ConfigEditResult::written;
    return worked;
}

// Records the bytes as the installer's own version, then renames them over the file while it is
// still `read`; clears away temporary files that interrupted writes left.
ReplaceResult commitReplacement(const std::string& path, PendingWrite& pending,
                                const ContentHash& written, const ConfigVersion& read,
                                std::error_code* error) {
    std::error_code failure;
    if (!recordOwnVersion(path, written)) {
        failure = std::make_error_code(std::errc::io_error);
    } else {
        const std::string target = resolveTarget(path);
        failure = pending.commit([&] { return stillTheVersionRead(target, read); });
    }
    if (failure == std::errc::operation_canceled) return ReplaceResult::fileChanged;
    if (error != nullptr) *error = failure;
    if (failure) return ReplaceResult::failed;
    removeStaleTemporaries(path);
    return ReplaceResult::replaced;
}

// Where the bytes to judge are written: beside the file, or for a dry run, in its scratch folder.
std::string candidatePath(const std::string& path, const ConfigChangeOptions& options) {
    if (options.plan == nullptr) return path;
    const std::string scratch = options.plan->scratchPath("openclaw.json");
    return scratch.empty() ? path : scratch;
}

// The host's verdict on the file as the run has it now: on disk, or as a dry run left it.
HostVerdict judgeCurrent(const std::string& path, const ConfigChangeOptions& options) {
    if (options.plan != nullptr) {
        if (const std::optional<std::string> planned = options.plan->plannedBytes(path)) {
            auto prepared = PendingWrite::prepare(candidatePath(path, options), *planned);
            if (auto* pending = std::get_if<PendingWrite>(&prepared)) {
                return options.validator(pending->temporaryPath());
            }
        }
    }
    return options.validator(path);
}

// A dry run's end of the transaction: the backup it would take, the record of the installer's
// own version, and the new bytes, all into the plan.
ConfigChangeOutcome planWrite(const std::string& path, WorkedOut& worked,
                              const ConfigChangeOptions& options, const HostVerdict& verdict) {
    Plan& plan = *options.plan;
    const BackupPaths backup = backupPathsFor(path);
    if (options.backup == ConfigBackup::takeBeforeWriting && !plan.lists(backup.copy) &&
        backupDue(path, worked.read.content, worked.mentionedPellix)) {
        plan.createFolder(backup.folder);
        // Described, never shown: the file can hold API keys.
        plan.add(PlannedChange::Kind::file, backup.copy,
                 "copy openclaw.json as it is now (the backup)");
    }
    if (!plan.lists(backup.record)) {
        plan.createFolder(backup.folder);
        plan.add(PlannedChange::Kind::file, backup.record,
                 "record the version written as the installer's own");
    }
    plan.writeConfig(path, worked.today, std::move(worked.output));
    return {ConfigEditResult::written, verdict};
}

}  // namespace

ConfigChangeDecision ConfigChangeDecision::printed(const ConfigDocument& document) {
    std::optional<std::string> output = document.serialize();
    if (!output) return {Action::fail, {}};
    return write(std::move(*output));
}

std::optional<ConfigDocument> loadConfig(const std::string& path, const Plan* plan) {
    if (plan != nullptr) {
        if (const std::optional<std::string> planned = plan->plannedBytes(path)) {
            return ConfigDocument::parse(*planned);
        }
    }
    std::optional<FileSnapshot> snapshot = readFileSnapshot(path, kMaxConfigBytes);
    if (!snapshot) return std::nullopt;
    return ConfigDocument::parse(snapshot->bytes);
}

ConfigChangeOutcome changeConfigFile(const std::string& path, const ConfigChange& change,
                                     const ConfigChangeOptions& options) {
    for (int attempt = 0; attempt < kMaxConfigEditAttempts; ++attempt) {
        WorkedOut worked = readAndWorkOut(path, change, options.plan);
        if (worked.result != ConfigEditResult::written) return {worked.result, {}};
        // With nobody to judge them, a dry run's bytes need not be written anywhere.
        if (options.plan != nullptr && !options.validator) {
            return planWrite(path, worked, options, {});
        }
        auto prepared = PendingWrite::prepare(candidatePath(path, options), worked.output);
        if (std::holds_alternative<std::error_code>(prepared)) {
            return {ConfigEditResult::writeFailed, {}};
        }
        PendingWrite& pending = std::get<PendingWrite>(prepared);
        HostVerdict verdict;
        if (options.validator) {
            verdict = options.validator(pending.temporaryPath());
            // Where the host rejects the file as it is as well, its verdict cannot tell this
            // change apart: the change is then written as the installer always has.
            if (verdict.rejected() && judgeCurrent(path, options).accepted()) {
                return {ConfigEditResult::rejected, verdict};
            }
        }
        if (options.plan != nullptr) return planWrite(path, worked, options, verdict);
        if (options.backup == ConfigBackup::takeBeforeWriting) {
            const BackupResult taken =
                takeBackupIfDue(path, worked.read.content, worked.mode, worked.mentionedPellix);
            if (taken == BackupResult::fileChanged) continue;
            if (taken == BackupResult::failed) return {ConfigEditResult::writeFailed, verdict};
        }
        switch (commitReplacement(path, pending, hashBytes(worked.output), worked.read, nullptr)) {
            case ReplaceResult::replaced:
                return {ConfigEditResult::written, verdict};
            case ReplaceResult::fileChanged:
                continue;
            case ReplaceResult::failed:
                return {ConfigEditResult::writeFailed, verdict};
        }
    }
    return {ConfigEditResult::writeFailed, {}};
}

ConfigChangeOutcome editConfigFile(const std::string& path, const ConfigEdit& edit,
                                   const ConfigChangeOptions& options) {
    return changeConfigFile(
        path,
        [&edit](ConfigDocument& document, const ContentHash&) {
            return edit(document) ? ConfigChangeDecision::printed(document)
                                  : ConfigChangeDecision::keepFile();
        },
        options);
}

ConfigEditResult editConfigFile(const std::string& path, const ConfigEdit& edit,
                                ConfigBackup backup) {
    return editConfigFile(path, edit, ConfigChangeOptions{backup, {}}).result;
}

ReplaceResult replaceConfig(const std::string& path, const std::string& bytes,
                            const ConfigVersion& read, std::optional<mode_t> mode,
                            std::error_code* error) {
    auto prepared = PendingWrite::prepare(path, bytes, mode);
    if (auto* failure = std::get_if<std::error_code>(&prepared)) {
        if (error != nullptr) *error = *failure;
        return ReplaceResult::failed;
    }
    return commitReplacement(path, std::get<PendingWrite>(prepared), hashBytes(bytes), read, error);
}

}  // namespace pellix
