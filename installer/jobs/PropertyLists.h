#pragma once
// The texts of the four launchd job files: the always-on service and the three scheduled
// scanners. Written from fixed templates rather than a serialiser so the layout is exactly ours.
// Pure functions of their arguments, safe on any thread.

#include <string>

#include "jobs/AgentJobs.h"

namespace pellix {

// `home` followed by "/Library/LaunchAgents".
std::string launchAgentsFolder(const std::string& home);

std::string servicePropertyList(const std::string& pellixDir, const std::string& python,
                                const std::string& home, const std::string& openclawHome);

// `interpreter` stands on the first ProgramArguments line: kBashPath or the python3 path.
std::string scannerPropertyList(const ScannerJob& job, const std::string& interpreter,
                                const std::string& pellixDir, const std::string& home);

}  // namespace pellix
