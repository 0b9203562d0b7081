// The receipt of an install: what it put where, written once the rows are done. It has no row of
// its own; a receipt that cannot be written shows in status as a missing one.

#include <filesystem>

#include "InstallerViewModel.h"
#include "Version.h"
#include "config/ConfigBackup.h"
#include "files/FileIo.h"
#include "jobs/ServiceManager.h"
#include "lifecycle/Receipt.h"
#include "plan/Plan.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

// The files the install placed: the bundle's, or, when it had none, the tree as it stands
// without the agent's data.
std::vector<ManifestEntry> placedFiles(const std::string& bundle, const std::string& pellixDir) {
    std::error_code error;
    if (fs::exists(fs::symlink_status(bundle, error))) return manifestOf(bundle);
    std::vector<ManifestEntry> files = manifestOf(pellixDir);
    std::erase_if(files, [](const ManifestEntry& entry) { return entry.path.starts_with("ops/"); });
    return files;
}

}  // namespace

Task<void> InstallerViewModel::writeInstallReceipt(std::string workspace, std::string pellixDir) {
    if (Plan* plan = host_.plan()) {
        const std::string path = receiptPath(openclawHome());
        plan->beginStep("Writing the receipt");
        plan->add(PlannedChange::Kind::file, path,
                  std::string(somethingExistsAt(path) ? "replace" : "create") +
                      ": what this install placed where, and the choices");
        co_return;
    }
    Receipt receipt;
    receipt.installerVersion = installerVersion();
    receipt.scanPreset = scanPreset();
    receipt.modelChoice = modelChoice();
    if (record_.registration) receipt.registrationForm = record_.registration->form;
    ServiceManager* manager = co_await host_.serviceManager();
    receipt.serviceManager = manager->name();
    for (const AgentJob& job : kAgentJobs) {
        for (std::string& file : manager->jobFiles(job))
            receipt.jobFiles.push_back(std::move(file));
    }
    receipt.workspace = std::move(workspace);
    receipt.pellixDir = pellixDir;
    receipt.installedAt = utcTimestamp();
    auto write = [receipt = std::move(receipt), pellixDir,
                  bundle = host_.platform().resourceDirectory + "/pellix-bundle",
                  path = receiptPath(openclawHome())]() mutable {
        receipt.agentVersion = bundleVersion(pellixDir);
        receipt.manifest = placedFiles(bundle, pellixDir);
        return writeReceipt(path, receipt);
    };
    co_await runBlocking(host_.platform().runBlockingJob, std::move(write));
}

}  // namespace pellix
