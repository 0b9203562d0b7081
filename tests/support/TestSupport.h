#pragma once
// Helpers shared by the tests: temporary folders, whole-file access, a view model whose pipeline
// pieces can be called one by one, and the fake commands put first on the children's PATH.

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

// A view model whose protected pipeline pieces are callable from tests.
class TestViewModel : public InstallerViewModel {
public:
    using InstallerViewModel::addToAllowlist;
    using InstallerViewModel::findPython3;
    using InstallerViewModel::InstallerViewModel;
    using InstallerViewModel::installLaunchdService;
    using InstallerViewModel::installScheduledScanners;
    using InstallerViewModel::registerPellixAgent;
    using InstallerViewModel::runCommand;
    using InstallerViewModel::setErrorMessage;
    using InstallerViewModel::setProgress;
    using InstallerViewModel::setSteps;
    using InstallerViewModel::shellCommand;
    using InstallerViewModel::updateStep;
    using InstallerViewModel::verifyInstall;
};

// A platform rooted in `home`: OPENCLAW_HOME unset unless given, children's PATH led by
// `fakeBin` when it is not empty, jobs run inline, launchd as the service manager.
Platform testPlatform(const std::string& home, const std::string& fakeBin = "",
                      std::optional<std::string> openclawHome = std::nullopt,
                      const std::string& resourceDirectory = "");

}  // namespace pellix::test
