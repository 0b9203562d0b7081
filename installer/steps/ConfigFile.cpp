#include "ConfigFile.h"

#include <new>
#include <utility>

#include "ConfigBackup.h"
#include "ConfigEdits.h"

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

struct EditedConfig {
    ConfigEditResult result = ConfigEditResult::writeFailed;
    ConfigVersion read;
    mode_t mode = 0;
    bool mentionedPellix = false;
    std::string output;
};

EditedConfig endedWith(ConfigEditResult result) {
    EditedConfig edited;
    edited.result = result;
    return edited;
}

// One read, parse, edit and print. The document is gone when this returns, so the peak holds
// the file's bytes and the document, then the document and the output, never all three.
EditedConfig readAndEdit(const std::string& path, const ConfigEdit& edit) {
    EditedConfig edited;
    std::optional<FileSnapshot> snapshot = readFileSnapshot(path, kMaxConfigBytes);
    if (!snapshot) return endedWith(ConfigEditResult::unreadable);
    edited.read = {snapshot->identity, hashBytes(snapshot->bytes)};
    edited.mode = snapshot->identity.mode & 07777;
    try {
        std::optional<ConfigDocument> document = ConfigDocument::parse(snapshot->bytes);
        std::string().swap(snapshot->bytes);
        if (!document) return endedWith(ConfigEditResult::unreadable);
        edited.mentionedPellix = mentionsPellix(*document);
        if (!edit(*document)) return endedWith(ConfigEditResult::unchanged);
        std::optional<std::string> output = document->serialize();
        if (!output) return endedWith(ConfigEditResult::writeFailed);
        edited.output = std::move(*output);
    } catch (const std::bad_alloc&) {
        return endedWith(ConfigEditResult::writeFailed);
    }
    edited.result = ConfigEditResult::written;
    return edited;
}

}  // namespace

std::optional<ConfigDocument> loadConfig(const std::string& path) {
    std::optional<FileSnapshot> snapshot = readFileSnapshot(path, kMaxConfigBytes);
    if (!snapshot) return std::nullopt;
    return ConfigDocument::parse(snapshot->bytes);
}

ConfigEditResult editConfigFile(const std::string& path, const ConfigEdit& edit,
                                ConfigBackup backup) {
    for (int attempt = 0; attempt < kMaxConfigEditAttempts; ++attempt) {
        EditedConfig edited = readAndEdit(path, edit);
        if (edited.result != ConfigEditResult::written) return edited.result;
        if (backup == ConfigBackup::takeBeforeWriting) {
            const BackupResult taken =
                takeBackupIfDue(path, edited.read.content, edited.mode, edited.mentionedPellix);
            if (taken == BackupResult::fileChanged) continue;
            if (taken == BackupResult::failed) return ConfigEditResult::writeFailed;
        }
        switch (replaceConfig(path, edited.output, edited.read)) {
            case ReplaceResult::replaced:
                return ConfigEditResult::written;
            case ReplaceResult::fileChanged:
                continue;
            case ReplaceResult::failed:
                return ConfigEditResult::writeFailed;
        }
    }
    return ConfigEditResult::writeFailed;
}

ReplaceResult replaceConfig(const std::string& path, const std::string& bytes,
                            const ConfigVersion& read, std::optional<mode_t> mode,
                            std::error_code* error) {
    std::error_code failure;
    if (!recordOwnVersion(path, hashBytes(bytes))) {
        failure = std::make_error_code(std::errc::io_error);
    } else {
        const std::string target = resolveTarget(path);
        failure = writeFileAtomically(path, bytes,
                                      {mode, [&] { return stillTheVersionRead(target, read); }});
    }
    if (failure == std::errc::operation_canceled) return ReplaceResult::fileChanged;
    if (error != nullptr) *error = failure;
    if (failure) return ReplaceResult::failed;
    removeStaleTemporaries(path);
    return ReplaceResult::replaced;
}

bool mentionsPellix(const ConfigDocument& document) {
    return pellixEntryOf(document.root()) != nullptr || isAllowlisted(document.root());
}

}  // namespace pellix
