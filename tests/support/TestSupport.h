#pragma once
// Helpers shared by the tests: temporary folders, whole-file access, the workers' context for
// calling one alone, and the fake commands put first on the children's PATH.

#include <ostream>
#include <string>
#include <vector>

#include "InstallerViewModel.h"

namespace pellix {

// Readable failure messages for the result pairs: status and text, not a byte dump.
void PrintTo(const StepResult& result, std::ostream* out);
void PrintTo(const ShellResult& result, std::ostream* out);
void PrintTo(StepStatus status, std::ostream* out);

}  // namespace pellix

namespace pellix::test {

// A fresh folder under the system's temporary directory, removed with everything in it.
class TempDir {
public:
    TempDir();
    explicit TempDir(const std::string& parent);
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;
    ~TempDir();
    const std::string& path() const { return path_; }
    std::string operator/(const std::string& relative) const { return path_ + "/" + relative; }

private:
    std::string path_;
};

std::string readFile(const std::string& path);
// Writes `bytes`, creating missing parent folders.
void writeFile(const std::string& path, const std::string& bytes);
void makeDirs(const std::string& path);

// Copies tests/support/fake-bin (fake launchctl and openclaw) into `folder` and returns it; the
// fakes keep their state in that folder.
std::string installFakeCommands(const std::string& folder);

// Writes the small sample agent tree (the seven files verification looks for and the scanner
// scripts) into `folder`.
void writeSampleAgent(const std::string& folder);

// What the install's workers are given, for calling one alone: the paths and the machine of a
// test platform, and the user's choices (the defaults unless a test changes them).
class WorkerSetup {
public:
    explicit WorkerSetup(Platform platform);
    WorkerContext context() { return {choices, layout_, host_, validator_, record}; }
    Host& host() { return host_; }
    const OpenClawLayout& layout() const { return layout_; }

    Choices choices;
    InstallRecord record;

private:
    OpenClawLayout layout_;
    Host host_;
    ConfigValidator validator_;
};

// The service manager the host chose, and its answers about the four jobs, run to their end.
std::string serviceManagerName(Host& host);
std::vector<JobState> describeJobs(Host& host);
std::vector<JobRemoval> removeJobs(Host& host);

// The view model's own updateStep rule, through its public setters, for tests that put a
// checklist into a state: the row changes, then the progress.
void updateStep(InstallerViewModel& model, int index, StepStatus status,
                const std::string& detail = "");

// A platform rooted in `home`: OPENCLAW_HOME unset unless given, children's PATH led by
// `fakeBin` when it is not empty, jobs run inline, launchd as the service manager.
Platform testPlatform(const std::string& home, const std::string& fakeBin = "",
                      std::optional<std::string> openclawHome = std::nullopt,
                      const std::string& resourceDirectory = "");

}  // namespace pellix::test
