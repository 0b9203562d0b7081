#include "plan/Plan.h"

#include <stdlib.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>

#include "files/FileIo.h"
#include "plan/UnifiedDiff.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

// Job files and receipts are small; anything larger is shown as replaced, without a diff.
constexpr std::size_t kMaxPlannedFileBytes = 16 * 1024 * 1024;

std::string fileName(const std::string& path) {
    return fs::path(path).filename().string();
}

}  // namespace

std::string_view toString(PlannedChange::Kind kind) {
    switch (kind) {
        case PlannedChange::Kind::file:
            return "file";
        case PlannedChange::Kind::folder:
            return "folder";
        case PlannedChange::Kind::agentFiles:
            return "agentFiles";
        case PlannedChange::Kind::remove:
            return "remove";
        default:
            return "command";
    }
}

Plan::~Plan() {
    if (scratch_.empty()) return;
    std::error_code ignored;
    fs::remove_all(fs::path(scratch_), ignored);
}

std::string Plan::scratchPath(const std::string& name) {
    const std::lock_guard guard(mutex_);
    if (scratch_.empty()) {
        std::error_code error;
        std::string folder = (fs::temp_directory_path(error) / "pellix-plan-XXXXXX").string();
        if (error || ::mkdtemp(folder.data()) == nullptr) return {};
        scratch_ = folder;
    }
    return scratch_ + "/" + name;
}

void Plan::beginStep(std::string label) {
    const std::lock_guard guard(mutex_);
    step_ = std::move(label);
    stepOrder_.push_back(step_);
}

void Plan::add(PlannedChange change) {
    const std::lock_guard guard(mutex_);
    change.step = step_;
    changes_.push_back(std::move(change));
}

void Plan::add(PlannedChange::Kind kind, std::string target, std::string action) {
    PlannedChange change;
    change.kind = kind;
    change.target = std::move(target);
    change.action = std::move(action);
    add(std::move(change));
}

void Plan::writeFile(const std::string& path, const std::string& bytes) {
    std::optional<std::string> current;
    if (somethingExistsAt(path)) {
        current = readWholeFile(path, kMaxPlannedFileBytes);
        if (current == bytes) return;
    }
    PlannedChange change;
    change.target = path;
    change.action = current ? "replace" : "create";
    if (current) {
        change.diff = unifiedDiff(*current, bytes, {"a/" + fileName(path), "b/" + fileName(path)});
    } else {
        change.text = bytes;
    }
    {
        const std::lock_guard guard(mutex_);
        written_[path] = bytes;
    }
    add(std::move(change));
}

void Plan::writeConfig(const std::string& path, const std::string& today, std::string bytes) {
    const std::lock_guard guard(mutex_);
    auto found = configs_.find(path);
    if (found == configs_.end()) {
        found =
            configs_.emplace(path, ConfigVersions{changes_.size(), today, {}, std::nullopt}).first;
        PlannedChange change;
        change.step = step_;
        change.target = path;
        change.action = "replace";
        changes_.push_back(std::move(change));
    }
    found->second.latest = std::move(bytes);
    found->second.diff.reset();
}

std::optional<std::string> Plan::plannedBytes(const std::string& path) const {
    const std::lock_guard guard(mutex_);
    if (const auto found = configs_.find(path); found != configs_.end()) {
        return found->second.latest;
    }
    if (const auto found = written_.find(path); found != written_.end()) return found->second;
    return std::nullopt;
}

bool Plan::lists(const std::string& target) const {
    const std::lock_guard guard(mutex_);
    for (const PlannedChange& change : changes_) {
        if (change.target == target) return true;
    }
    return false;
}

void Plan::createFolder(const std::string& path) {
    if (somethingExistsAt(path) || lists(path)) return;
    add(PlannedChange::Kind::folder, path, "create");
}

void Plan::remove(const std::string& path, std::string action) {
    add(PlannedChange::Kind::remove, path, std::move(action));
}

void Plan::runCommand(const std::string& command) {
    add(PlannedChange::Kind::command, command, "run");
}

std::vector<PlannedChange> Plan::changes() const {
    const std::lock_guard guard(mutex_);
    return withConfigDiffs();
}

std::vector<PlannedChange> Plan::withConfigDiffs() const {
    std::vector<const ConfigVersions*> configs;
    for (const auto& [path, versions] : configs_) configs.push_back(&versions);
    // Worked out from the last position back, so that erasing keeps the earlier ones in place.
    std::sort(configs.begin(), configs.end(),
              [](const auto* a, const auto* b) { return a->position > b->position; });
    std::vector<PlannedChange> all = changes_;
    for (const ConfigVersions* versions : configs) {
        if (!versions->diff) versions->diff = unifiedDiff(versions->today, versions->latest);
        const auto at = all.begin() + static_cast<std::ptrdiff_t>(versions->position);
        if (versions->diff->empty()) {
            all.erase(at);
        } else {
            at->diff = *versions->diff;
        }
    }
    return all;
}

std::vector<std::pair<std::string, std::vector<PlannedChange>>> Plan::steps() const {
    std::vector<std::pair<std::string, std::vector<PlannedChange>>> grouped;
    std::vector<std::string> order;
    {
        const std::lock_guard guard(mutex_);
        order = stepOrder_;
    }
    for (const std::string& label : order) grouped.push_back({label, {}});
    for (PlannedChange& change : changes()) {
        for (auto& [label, changes] : grouped) {
            if (label == change.step) {
                changes.push_back(std::move(change));
                break;
            }
        }
    }
    return grouped;
}

bool Plan::changesAnything() const {
    const std::lock_guard guard(mutex_);
    // Every change but openclaw.json's stands; that one only when its bytes differ.
    std::size_t unchangedConfigs = 0;
    for (const auto& [path, versions] : configs_) {
        if (versions.today == versions.latest) ++unchangedConfigs;
    }
    return changes_.size() > unchangedConfigs;
}

std::string describeFiles(std::uintmax_t files, std::uintmax_t bytes) {
    char size[32];
    if (bytes < 1024) {
        std::snprintf(size, sizeof size, "%ju B", bytes);
    } else if (bytes < 1024 * 1024) {
        std::snprintf(size, sizeof size, "%.1f KB", static_cast<double>(bytes) / 1024);
    } else {
        std::snprintf(size, sizeof size, "%.1f MB", static_cast<double>(bytes) / (1024 * 1024));
    }
    return std::to_string(files) + (files == 1 ? " file (" : " files (") + size + ")";
}

}  // namespace pellix
