#include "jobs/ServiceManager.h"

#include <filesystem>

#include "files/FileIo.h"
#include "plan/Plan.h"

namespace fs = std::filesystem;

namespace pellix {

std::error_code writeJobFile(Plan* plan, const std::string& path, const std::string& text) {
    if (plan == nullptr) return writeFileAtomically(path, text);
    plan->writeFile(path, text);
    return {};
}

void createJobFolder(Plan* plan, const std::string& path) {
    if (plan != nullptr) {
        plan->createFolder(path);
        return;
    }
    // A failure here shows up as the failed write of the job's file.
    std::error_code ignored;
    fs::create_directories(fs::path(path), ignored);
}

std::error_code removeJobFile(Plan* plan, const std::string& path) {
    std::error_code error;
    if (plan == nullptr) {
        fs::remove(fs::path(path), error);
    } else if (somethingExistsAt(path)) {
        plan->remove(path);
    }
    return error;
}

Task<std::vector<JobState>> describeAgentJobs(ServiceManager& manager) {
    std::vector<JobState> jobs;
    for (const AgentJob& job : kAgentJobs) jobs.push_back(co_await manager.describeJob(job));
    co_return jobs;
}

Task<std::vector<JobRemoval>> removeAgentJobs(ServiceManager& manager) {
    std::vector<JobRemoval> removals;
    for (const AgentJob& job : kAgentJobs) removals.push_back(co_await manager.removeJob(job));
    co_return removals;
}

}  // namespace pellix
