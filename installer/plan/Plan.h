#pragma once
// A dry run's account of what a run would change, in the order it would change it. The run
// itself does the deciding: every place that writes, moves or removes a file, creates a folder or
// runs a command that changes something asks whether it has a plan, and when it has one it
// writes what it would do into it instead. Reads go on as usual, except that openclaw.json reads
// as the run would have left it so far, so that a later edit plans on the bytes an earlier one
// would have written. Safe on any thread: the edits of openclaw.json are planned from blocking
// jobs.

#include <cstdint>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

namespace pellix {

struct PlannedChange {
    enum class Kind { file, folder, agentFiles, remove, command };
    Kind kind = Kind::file;
    std::string step;    // the step of the run that makes it
    std::string target;  // the path, or the command line
    std::string action;  // one line: "create", "replace", "copy 14 files (20.1 KB)", ...
    std::string diff;    // a replaced file: the unified diff from its bytes to the new ones
    std::string text;    // a created file: its whole text

    bool operator==(const PlannedChange&) const = default;
};

std::string_view toString(PlannedChange::Kind kind);

class Plan {
public:
    Plan() = default;
    Plan(const Plan&) = delete;
    Plan& operator=(const Plan&) = delete;
    // Removes the scratch folder, if one was made.
    ~Plan();

    // The step that the changes planned from now on belong to.
    void beginStep(std::string label);
    void add(PlannedChange change);
    // A change told in a line, without a text or a diff.
    void add(PlannedChange::Kind kind, std::string target, std::string action);

    // A file the run would write with `bytes`: created, or replaced with its diff shown. A file
    // already holding exactly those bytes is left out.
    void writeFile(const std::string& path, const std::string& bytes);
    // openclaw.json's next version: the diff shown is from the file as it is today to the last
    // version planned, so `patch` turns today's file into what the run would leave.
    void writeConfig(const std::string& path, const std::string& today, std::string bytes);
    // The bytes a planned write would have left at `path`; nothing when none is planned.
    std::optional<std::string> plannedBytes(const std::string& path) const;
    void createFolder(const std::string& path);
    void remove(const std::string& path, std::string action = "remove");
    void runCommand(const std::string& command);

    // Whether a change of `target` is planned already.
    bool lists(const std::string& target) const;

    // Every change in order; openclaw.json's diff is worked out here, once.
    std::vector<PlannedChange> changes() const;
    // The steps in the order begun, each with what it would change.
    std::vector<std::pair<std::string, std::vector<PlannedChange>>> steps() const;
    bool changesAnything() const;

    // A path for `name` in a private folder of the system's temporary directory, for the bytes
    // the host is asked to judge: a dry run writes nothing beside the user's files. Empty when no
    // such folder can be made.
    std::string scratchPath(const std::string& name);

private:
    struct ConfigVersions {
        std::size_t position = 0;  // where its one change stands among the others
        std::string today;
        std::string latest;
        // today -> latest, worked out when first asked for; a later version clears it.
        mutable std::optional<std::string> diff;
    };

    // openclaw.json's changes with their diffs, the ones left as they were dropped.
    std::vector<PlannedChange> withConfigDiffs() const;

    mutable std::mutex mutex_;
    std::string step_;
    std::vector<std::string> stepOrder_;
    std::vector<PlannedChange> changes_;
    std::map<std::string, ConfigVersions> configs_;
    std::map<std::string, std::string> written_;
    std::string scratch_;
};

// "1 file (512 B)", "14 files (20.1 KB)".
std::string describeFiles(std::uintmax_t files, std::uintmax_t bytes);

}  // namespace pellix
