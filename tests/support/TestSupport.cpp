#include "TestSupport.h"

#include "OpenClawCommands.h"
#include "jobs/ServiceManager.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>

namespace fs = std::filesystem;

namespace pellix {

void PrintTo(StepStatus status, std::ostream* out) {
    *out << toString(status);
}

void PrintTo(const StepResult& result, std::ostream* out) {
    *out << "{" << toString(result.status) << ", \"" << result.detail << "\"}";
}

void PrintTo(const ShellResult& result, std::ostream* out) {
    *out << "{" << result.status << ", \"" << result.output << "\"}";
}

}  // namespace pellix

namespace pellix::test {

TempDir::TempDir() : TempDir(fs::temp_directory_path().string()) {}

TempDir::TempDir(const std::string& parent) {
    std::string pattern = parent + "/pellix-test-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code error;
    // Tests make folders unreadable on purpose; give the owner its rights back before removal.
    for (auto it = fs::recursive_directory_iterator(
             path_, fs::directory_options::skip_permission_denied, error);
         !error && it != fs::recursive_directory_iterator(); it.increment(error)) {
        if (it->is_directory(error) && !it->is_symlink(error)) {
            fs::permissions(it->path(), fs::perms::owner_all, fs::perm_options::add, error);
        }
    }
    fs::permissions(path_, fs::perms::owner_all, fs::perm_options::add, error);
    fs::remove_all(path_, error);
}

std::string readFile(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::ostringstream bytes;
    bytes << in.rdbuf();
    return bytes.str();
}

void makeDirs(const std::string& path) {
    fs::create_directories(path);
}

void writeFile(const std::string& path, const std::string& bytes) {
    const fs::path target(path);
    if (target.has_parent_path()) fs::create_directories(target.parent_path());
    std::ofstream out(path, std::ios::binary | std::ios::trunc);
    out << bytes;
}

std::string installFakeCommands(const std::string& folder) {
    makeDirs(folder);
    for (const auto& entry :
         fs::directory_iterator(std::string(PELLIX_TEST_SUPPORT_DIR) + "/fake-bin")) {
        fs::copy_file(entry.path(), fs::path(folder) / entry.path().filename(),
                      fs::copy_options::overwrite_existing);
    }
    return folder;
}

void writeSampleAgent(const std::string& folder) {
    const fs::path sample(std::string(PELLIX_TEST_SUPPORT_DIR) + "/sample-agent");
    fs::create_directories(folder);
    fs::copy(sample, folder,
             fs::copy_options::recursive | fs::copy_options::copy_symlinks |
                 fs::copy_options::overwrite_existing);
}

Platform testPlatform(const std::string& home, const std::string& fakeBin,
                      std::optional<std::string> openclawHome,
                      const std::string& resourceDirectory) {
    Platform platform;
    platform.environment = [openclawHome](const std::string& name) -> std::optional<std::string> {
        if (name == "OPENCLAW_HOME") return openclawHome;
        return std::nullopt;
    };
    platform.homeDirectory = [home] { return home; };
    platform.resourceDirectory = resourceDirectory;
    platform.childPath = fakeBin.empty() ? std::string(kChildPath) : fakeBin + ":" + kChildPath;
    platform.runBlockingJob = runInline;
    // The pipeline tests pin launchd's behaviour; the systemd tests and the choice itself set
    // their own.
    platform.serviceManager = ServiceManagerChoice::launchd;
    return platform;
}

WorkerSetup::WorkerSetup(Platform platform)
    : layout_(platform), host_(std::move(platform)), validator_(openclawValidator(host_)) {}

std::string serviceManagerName(Host& host) {
    return host.serviceManager().runToCompletion()->name();
}

std::vector<JobState> describeJobs(Host& host) {
    return describeAgentJobs(*host.serviceManager().runToCompletion()).runToCompletion();
}

std::vector<JobRemoval> removeJobs(Host& host) {
    return removeAgentJobs(*host.serviceManager().runToCompletion()).runToCompletion();
}

void updateStep(InstallerViewModel& model, int index, StepStatus status,
                const std::string& detail) {
    std::vector<InstallStep> rows = model.steps();
    const std::optional<double> progress = applyStepUpdate(rows, index, status, detail);
    if (!progress) return;
    model.setSteps(std::move(rows));
    model.setProgress(*progress);
}

}  // namespace pellix::test
