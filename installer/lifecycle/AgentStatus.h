#pragma once
// What of the agent is installed in one OpenClaw home, part by part, and what is wrong with it:
// the status command and the window show it, and the uninstall decides from it whether there is
// anything to do. Runs on the host's thread; its file work goes to the host's executor.

#include <optional>
#include <string>
#include <vector>

#include "Host.h"
#include "InstallerTypes.h"
#include "OpenClawLayout.h"
#include "Task.h"
#include "config/HostVerdict.h"
#include "config/OpenClawConfig.h"
#include "lifecycle/Receipt.h"

namespace pellix {

struct AgentStatus {
    std::string openclawHome;
    std::string configFile;
    std::optional<std::string> pellixDir;   // the agent's tree, when one is there
    std::vector<std::string> missingFiles;  // required files absent from pellixDir
    PellixConfigState config;
    std::string serviceManager;
    std::vector<JobState> jobs;  // the service, then the three scanners
    std::string sessionStore;
    bool sessionStorePresent = false;
    std::optional<ConfigBackupInfo> backup;
    // The host's own verdict on openclaw.json (`openclaw config validate`), with its reason.
    HostVerdict validation;
    // What the last install recorded, and what changed since among the files it shipped.
    std::string receiptFile;
    ReceiptRead receipt;
    Drift drift;
    // The agent version this installer ships, where its bundle names one.
    std::optional<std::string> shippedAgentVersion;
    bool opsPresent = false;
    // The earlier tree a killed reinstall left aside, when one is there.
    std::optional<std::string> setAsideTree;
    std::vector<std::string> problems;  // each one a sentence naming the part; empty when healthy

    // Anything of the agent present: its tree, its entry or allowlist item, a job file or job.
    // The session store and the backup are left behind on purpose, so they do not count.
    bool installed() const;
    // The installed agent's version, from the receipt.
    std::optional<std::string> agentVersion() const;
    // This installer ships another version than the one installed.
    bool upgradeAvailable() const;
};

// Looks at everything; runs `openclaw config validate` only when something is installed and
// `askTheHost` is true. `layout` and `host` must outlive the task.
Task<AgentStatus> gatherAgentStatus(const OpenClawLayout& layout, Host& host,
                                    bool askTheHost = true);

}  // namespace pellix
