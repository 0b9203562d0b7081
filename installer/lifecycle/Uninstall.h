#pragma once
// Taking the agent out of one OpenClaw home, part by part, each part's result kept for the front
// end to show: the four jobs, the agent's tree, its entry and allowlist item in openclaw.json,
// the session store (kept unless purged), then a gateway restart. A home with nothing of the
// agent in it is left exactly as it is. Runs on the host's thread; holds the home's lock.

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "Host.h"
#include "InstallerTypes.h"
#include "OpenClawLayout.h"
#include "Task.h"
#include "config/OpenClawConfig.h"

namespace pellix {

struct UninstallOptions {
    bool purge = false;  // delete the session store too
};

// One part of the uninstall: what it is about (a job label, a path) and how it went.
struct PartResult {
    std::string name;
    StepStatus status = StepStatus::success;
    std::string detail;
};

// The session store's detail once the run deleted it (or, in a dry run, would).
inline constexpr std::string_view kSessionStoreDeleted = "deleted";

struct UninstallReport {
    bool homeBusy = false;  // another installer works on the home: nothing was touched
    bool wasInstalled = false;
    std::vector<PartResult> jobs;
    std::vector<PartResult> agentFiles;
    std::optional<PartResult> receipt;    // none when there was no receipt
    std::optional<ConfigRemoval> config;  // none when openclaw.json was not looked at
    HostVerdict configVerdict;            // what the host said of the file without Pellix
    PartResult sessionStore;
    std::optional<ShellResult> gatewayRestart;  // none when the gateway was left alone

    // Each part that could not be removed, as "<part>: <why>"; empty when all went.
    std::vector<std::string> problems() const;
    // Whether anything was taken out: the agent, or its session store.
    bool changedAnything() const {
        return wasInstalled || (sessionStore.status == StepStatus::success &&
                                sessionStore.detail == kSessionStoreDeleted);
    }
};

// `layout` and `host` must outlive the task.
Task<UninstallReport> uninstallAgent(const OpenClawLayout& layout, Host& host,
                                     UninstallOptions options);

std::string_view toString(ConfigRemoval removal);

}  // namespace pellix
