#include "jobs/ServiceManager.h"

namespace pellix {

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
