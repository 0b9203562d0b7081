#include "lifecycle/AgentStatus.h"

#include <algorithm>
#include <cctype>
#include <filesystem>

#include "jobs/ServiceManager.h"
#include "steps/RequiredAgentFiles.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

void nameJobProblems(const JobState& job, std::vector<std::string>& problems) {
    if (!job.fileInstalled) problems.push_back(job.label + ": job file missing");
    if (!job.loaded) {
        problems.push_back(job.label + ": not loaded");
    } else if (job.alwaysOn && !job.running) {
        problems.push_back(job.label + ": loaded but not running");
    }
}

void nameProblems(AgentStatus& status) {
    auto& problems = status.problems;
    if (!status.pellixDir) {
        problems.push_back("agent files: no agents/pellix-unified in a workspace-* folder of " +
                           status.openclawHome);
    }
    for (const std::string& file : status.missingFiles) {
        problems.push_back("agent files: " + file + " is missing");
    }
    if (!status.config.readable) {
        problems.push_back("openclaw.json: cannot be read as one JSON object (" +
                           status.configFile + ")");
    } else {
        if (!status.config.registered) problems.push_back("openclaw.json: no Pellix agent entry");
        // Without a main agent there is no allowlist to be in: the install says "Already in
        // allowlist" then, and so nothing is missing.
        if (status.config.hasMainAgent && !status.config.allowlisted) {
            problems.push_back(
                "openclaw.json: \"pellix\" is not in the main agent's subagents.allowAgents");
        }
    }
    for (const JobState& job : status.jobs) nameJobProblems(job, problems);
    if (!status.sessionStorePresent) {
        problems.push_back("session store: " + status.sessionStore + " is missing");
    }
    if (status.validation.verdict == ConfigValidation::Verdict::invalid) {
        problems.push_back("openclaw config validate: " + status.validation.detail);
    }
}

}  // namespace

std::string firstLine(const std::string& output) {
    const auto begin = output.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) return "";
    const auto end = output.find_first_of("\r\n", begin);
    return output.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
}

std::string_view toString(ConfigValidation::Verdict verdict) {
    switch (verdict) {
        case ConfigValidation::Verdict::valid:
            return "valid";
        case ConfigValidation::Verdict::invalid:
            return "invalid";
        default:
            return "not checked";
    }
}

bool AgentStatus::installed() const {
    const bool anyJob = std::any_of(jobs.begin(), jobs.end(), [](const JobState& job) {
        return job.fileInstalled || job.loaded;
    });
    return pellixDir || config.registered || config.allowlisted || anyJob;
}

ConfigValidation judgeValidation(const ShellResult& result) {
    const std::string line = firstLine(result.output);
    if (result.status == 0) return {ConfigValidation::Verdict::valid, ""};
    const std::string lower = lowerCase(result.output);
    // An OpenClaw without the command (or no openclaw at all) cannot judge: not a problem.
    if (result.status == 127 || result.status == -1 ||
        lower.find("command not found") != std::string::npos ||
        lower.find("unknown command") != std::string::npos) {
        return {ConfigValidation::Verdict::notChecked, line};
    }
    return {ConfigValidation::Verdict::invalid,
            line.empty() ? "exit status " + std::to_string(result.status) : line};
}

namespace {

// What the file system says, gathered in one blocking job: a large openclaw.json takes a while.
AgentStatus lookAtFiles(const OpenClawLayout& layout) {
    AgentStatus status;
    status.openclawHome = layout.openclawHome();
    status.configFile = layout.configFile();
    status.pellixDir = layout.installedPellixDir();
    if (status.pellixDir) {
        for (std::string_view relative : missingAgentFiles(*status.pellixDir)) {
            status.missingFiles.emplace_back(relative);
        }
    }
    status.config = inspectPellixConfig(status.configFile);
    status.sessionStore = layout.sessionsDirectory();
    std::error_code error;
    status.sessionStorePresent = fs::is_directory(fs::path(status.sessionStore), error);
    status.backup = findConfigBackup(status.configFile);
    return status;
}

}  // namespace

Task<AgentStatus> gatherAgentStatus(const OpenClawLayout& layout, Host& host, bool askTheHost) {
    auto job = [&layout] { return lookAtFiles(layout); };
    AgentStatus status = co_await runBlocking(host.platform().runBlockingJob, std::move(job));
    ServiceManager* manager = co_await host.serviceManager();
    status.serviceManager = manager->name();
    status.jobs = co_await describeAgentJobs(*manager);
    if (!status.installed()) {
        status.validation = {ConfigValidation::Verdict::notChecked, "not installed"};
        co_return status;
    }
    if (askTheHost) {
        status.validation = judgeValidation(co_await host.shellCommand("openclaw config validate"));
    }
    nameProblems(status);
    co_return status;
}

}  // namespace pellix
