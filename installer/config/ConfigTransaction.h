#pragma once
// Every change of openclaw.json is one transaction: read the file, work out the new bytes from
// what was read, have the host judge those very bytes where it can, take the backup when the
// change calls for one, record the bytes as the installer's own, check that the file is still
// the version read, and replace it. A file saved by someone else meanwhile is read and the change
// worked out again, so no save is ever undone; bytes the host rejects while it accepts the file
// as it is are never written. The install's edits, the removal and every later edit go through
// changeConfigFile. Safe on any thread; blocks while the host judges.

#include <sys/types.h>

#include <functional>
#include <optional>
#include <string>

#include "config/ConfigDocument.h"
#include "config/HostVerdict.h"
#include "files/ContentHash.h"
#include "files/FileIo.h"

namespace pellix {

class Plan;

// How often a change is worked out again on a file that keeps changing underneath.
inline constexpr int kMaxConfigEditAttempts = 5;

// readFileSnapshot then ConfigDocument::parse; nothing when either fails. With a dry run's plan,
// the bytes it has planned for the file, where it has.
std::optional<ConfigDocument> loadConfig(const std::string& path, const Plan* plan = nullptr);

enum class ConfigBackup { takeBeforeWriting, leaveAsItIs };
// `rejected`: the host rejects the new bytes and accepts the file as it is; nothing was written.
enum class ConfigEditResult { written, unchanged, unreadable, writeFailed, rejected };

struct ConfigChangeOptions {
    ConfigBackup backup = ConfigBackup::leaveAsItIs;
    // The host's validator; none (or one that cannot judge) writes as the installer always has.
    ConfigValidator validator;
    // A dry run's plan: the change is worked out and judged as usual, on the bytes the plan has
    // left so far, and written into the plan instead of the file (no backup, no record).
    Plan* plan = nullptr;
};

// How a change ended, and what the host said of the bytes it was to write (not checked when it
// was not asked, or the change wrote nothing).
struct ConfigChangeOutcome {
    ConfigEditResult result = ConfigEditResult::writeFailed;
    HostVerdict verdict;
};

// What a change makes of the file it read: leave it, write these bytes, or give up (the
// document could not be printed).
struct ConfigChangeDecision {
    enum class Action { keep, write, fail };
    Action action = Action::keep;
    std::string bytes;

    static ConfigChangeDecision keepFile() { return {}; }
    static ConfigChangeDecision write(std::string bytes) {
        return {Action::write, std::move(bytes)};
    }
    // The document as the installer prints it; fail when memory runs out.
    static ConfigChangeDecision printed(const ConfigDocument& document);
};

// Works out the change from the parsed document and the digest of the bytes it was read from.
using ConfigChange =
    std::function<ConfigChangeDecision(ConfigDocument& document, const ContentHash& read)>;
ConfigChangeOutcome changeConfigFile(const std::string& path, const ConfigChange& change,
                                     const ConfigChangeOptions& options);

// The common case: `edit` changes the document in place and says whether it did; the document
// is then written back as the installer prints it.
using ConfigEdit = std::function<bool(ConfigDocument&)>;
ConfigChangeOutcome editConfigFile(const std::string& path, const ConfigEdit& edit,
                                   const ConfigChangeOptions& options);
ConfigEditResult editConfigFile(const std::string& path, const ConfigEdit& edit,
                                ConfigBackup backup);

// The version of the file a change started from: its identity and digest, or none when there
// was no file.
struct ConfigVersion {
    std::optional<FileIdentity> identity;
    ContentHash content;
};

enum class ReplaceResult { replaced, fileChanged, failed };

// The transaction's last half, for a change that does not parse the file (a restore): writes
// `bytes` over the file while it is still `read`, records them as the installer's own version
// and clears away temporary files that interrupted writes left. `error` receives the system's
// error on failure.
ReplaceResult replaceConfig(const std::string& path, const std::string& bytes,
                            const ConfigVersion& read, std::optional<mode_t> mode = {},
                            std::error_code* error = nullptr);

}  // namespace pellix
