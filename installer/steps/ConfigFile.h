#pragma once
// openclaw.json read, edited and replaced as one transaction that cannot undo a save made by
// someone else meanwhile: the file is replaced only while it is still the version that was read,
// and a changed file is read and edited again. Safe on any thread.

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "../ContentHash.h"
#include "../FileIo.h"
#include "ConfigDocument.h"

namespace pellix {

// How often an edit is redone on a file that keeps changing underneath before giving up.
inline constexpr int kMaxConfigEditAttempts = 5;

// readFileSnapshot then ConfigDocument::parse; nothing when either fails.
std::optional<ConfigDocument> loadConfig(const std::string& path);

enum class ConfigBackup { takeBeforeWriting, leaveAsItIs };
enum class ConfigEditResult { written, unchanged, unreadable, writeFailed };

// Applies `edit` (which returns whether it changed the document) to the file and writes the
// result back when it did, taking the backup first when asked to.
using ConfigEdit = std::function<bool(ConfigDocument&)>;
ConfigEditResult editConfigFile(const std::string& path, const ConfigEdit& edit,
                                ConfigBackup backup);

// The version of the file an edit started from: its identity and digest, or none when there was
// no file.
struct ConfigVersion {
    std::optional<FileIdentity> identity;
    ContentHash content;
};

enum class ReplaceResult { replaced, fileChanged, failed };

// Writes `bytes` over the file while it is still `read`, records them as the installer's own
// version and clears away temporary files that interrupted writes left. `error` receives the
// system's error on failure.
ReplaceResult replaceConfig(const std::string& path, const std::string& bytes,
                            const ConfigVersion& read, std::optional<mode_t> mode = {},
                            std::error_code* error = nullptr);

// Whether the document holds any of Pellix's parts: its entry or the main agent's permission.
bool mentionsPellix(const ConfigDocument& document);

}  // namespace pellix
