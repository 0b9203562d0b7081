#pragma once
// The texts of the four launchd job files: the always-on service and the three scheduled
// scanners. Written from fixed templates rather than a serialiser so the layout is exactly ours.
// Pure functions of their arguments, safe on any thread.

#include <array>
#include <string>
#include <string_view>

namespace pellix {

// Interpreter named in the files of the two shell-script scanners.
inline constexpr const char* kBashPath = "/bin/bash";

struct ScannerJob {
    std::string_view labelSuffix;
    bool runByPython;  // else by kBashPath
    std::string_view script;
    int intervalSeconds;
    std::string_view standardOut;
    std::string_view standardError;
};

// In the order they are installed. The welcome screen's scan frequency does not reach these.
inline constexpr std::array<ScannerJob, 3> kScannerJobs = {{
    {".pellix.wal", false, "/scripts/session-wal.sh", 300, "/ops/wal/wal-stdout.log",
     "/ops/wal/wal-stderr.log"},
    {".pellix.tripwire-grep", false, "/scripts/tripwire-scanner.sh", 300,
     "/ops/wal/tripwire-grep-stdout.log", "/ops/wal/tripwire-grep-stderr.log"},
    {".pellix.tripwire-ai", true, "/scripts/tripwire-ai-scanner.py", 900,
     "/ops/wal/tripwire-ai-stdout.log", "/ops/wal/tripwire-ai-stderr.log"},
}};

// The job-label prefix followed by `suffix`.
std::string jobLabel(std::string_view suffix);
std::string serviceJobLabel();

// `home` followed by "/Library/LaunchAgents".
std::string launchAgentsFolder(const std::string& home);

std::string servicePropertyList(const std::string& pellixDir, const std::string& python,
                                const std::string& home, const std::string& openclawHome);

// `interpreter` stands on the first ProgramArguments line: kBashPath or the python3 path.
std::string scannerPropertyList(const ScannerJob& job, const std::string& interpreter,
                                const std::string& pellixDir, const std::string& home);

}  // namespace pellix
