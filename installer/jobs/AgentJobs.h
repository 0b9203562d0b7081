#pragma once
// The agent's four background jobs in one table that says what each runs, how often and where it
// logs, for every service manager to render in its own format. Constant data, any thread.

#include <array>
#include <string>
#include <string_view>

#include "Platform.h"

namespace pellix {

// Interpreter of the two shell-script scanners.
inline constexpr const char* kBashPath = "/bin/bash";

struct AgentJob {
    std::string_view labelSuffix;
    bool runByPython;  // else by kBashPath
    std::string_view script;
    int intervalSeconds;  // 0 for the always-on service, which is kept running instead
    std::string_view standardOut;
    std::string_view standardError;
    bool seesOpenClawHome;  // OPENCLAW_HOME in its environment besides PATH and HOME

    bool alwaysOn() const { return intervalSeconds == 0; }
};

inline constexpr AgentJob kServiceJob = {
    ".pellix-service",
    true,
    "/scripts/pellix-service.py",
    0,
    "/ops/pellix-service-stdout.log",
    "/ops/pellix-service-stderr.log",
    true,
};

// In the order they are installed. The welcome screen's scan frequency does not reach these.
inline constexpr std::array<AgentJob, 3> kScannerJobs = {{
    {".pellix.wal", false, "/scripts/session-wal.sh", 300, "/ops/wal/wal-stdout.log",
     "/ops/wal/wal-stderr.log", false},
    {".pellix.tripwire-grep", false, "/scripts/tripwire-scanner.sh", 300,
     "/ops/wal/tripwire-grep-stdout.log", "/ops/wal/tripwire-grep-stderr.log", false},
    {".pellix.tripwire-ai", true, "/scripts/tripwire-ai-scanner.py", 900,
     "/ops/wal/tripwire-ai-stdout.log", "/ops/wal/tripwire-ai-stderr.log", false},
}};

// All four, the service first: the order in which they are installed, described and removed.
inline constexpr std::array<AgentJob, 4> kAgentJobs = {kServiceJob, kScannerJobs[0],
                                                       kScannerJobs[1], kScannerJobs[2]};

// The job-label prefix followed by `suffix`.
inline std::string jobLabel(std::string_view suffix) {
    return kJobLabelPrefix + std::string(suffix);
}

inline std::string serviceJobLabel() {
    return jobLabel(kServiceJob.labelSuffix);
}

// What a job file is filled with besides the table's constants.
struct JobValues {
    std::string pellixDir;
    std::string interpreter;  // kBashPath or the python3 path found at install time
    std::string home;
    std::string openclawHome;
};

}  // namespace pellix
