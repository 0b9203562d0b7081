#include "OpenClawLayout.h"

#include <filesystem>
#include <system_error>
#include <vector>

#include "files/FileIo.h"

namespace fs = std::filesystem;

namespace pellix {

OpenClawLayout::OpenClawLayout(EnvironmentLookup environment,
                               std::function<std::string()> homeDirectory)
    : environment_(std::move(environment)), homeDirectory_(std::move(homeDirectory)) {}

std::string OpenClawLayout::openclawHome() const {
    // Set but empty is still the user's word: the home is then "", not the default.
    if (auto value = environment_("OPENCLAW_HOME")) return *value;
    return homeDirectory() + "/.openclaw";
}

bool OpenClawLayout::openclawExists() const {
    std::error_code error;
    return fs::exists(fs::path(openclawHome()), error);
}

std::string OpenClawLayout::configFile() const {
    return openclawHome() + "/openclaw.json";
}

std::string OpenClawLayout::pellixDirIn(const std::string& workspace) {
    return workspace + "/agents/pellix-unified";
}

std::string OpenClawLayout::sessionsDirectory() const {
    return openclawHome() + "/agents/pellix/sessions";
}

namespace {

// The workspace-* folders, in listing order, unsorted.
std::vector<std::string> workspaceFolders(const std::string& home) {
    std::vector<std::string> candidates;
    std::error_code error;
    fs::directory_iterator entries(fs::path(home), error);
    if (error) return candidates;
    for (const fs::directory_entry& entry : entries) {
        const std::string name = entry.path().filename().string();
        if (!name.starts_with("workspace-")) continue;
        const std::string path = home + "/" + name;
        std::error_code statError;
        if (fs::is_directory(fs::path(path), statError)) candidates.push_back(path);
    }
    return candidates;
}

}  // namespace

std::optional<std::string> OpenClawLayout::workspace() const {
    // With several workspaces and no agent yet, the first listed wins.
    const std::vector<std::string> candidates = workspaceFolders(openclawHome());
    for (const std::string& path : candidates) {
        std::error_code statError;
        if (fs::exists(fs::path(pellixDirIn(path)), statError)) return path;
    }
    if (candidates.empty()) return std::nullopt;
    return candidates.front();
}

std::vector<std::string> OpenClawLayout::installedPellixDirs() const {
    std::vector<std::string> trees;
    for (const std::string& workspace : workspaceFolders(openclawHome())) {
        if (somethingExistsAt(pellixDirIn(workspace))) trees.push_back(pellixDirIn(workspace));
    }
    return trees;
}

std::optional<std::string> OpenClawLayout::installedPellixDir() const {
    const auto found = workspace();
    if (!found) return std::nullopt;
    const std::string path = pellixDirIn(*found);
    std::error_code error;
    if (!fs::exists(fs::symlink_status(fs::path(path), error))) return std::nullopt;
    return path;
}

}  // namespace pellix
