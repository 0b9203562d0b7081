#pragma once
// Putting openclaw.json back as it was before the installer first changed it, from the backup,
// with the file it replaces kept aside so the restore can itself be undone. Runs on the host's
// thread; the file work goes to the host's executor; holds the home's lock.

#include <optional>
#include <string>

#include "Host.h"
#include "OpenClawLayout.h"
#include "Task.h"
#include "config/OpenClawConfig.h"

namespace pellix {

struct RestoreReport {
    bool homeBusy = false;  // another installer works on the home: nothing was touched
    std::string configFile;
    std::optional<ConfigBackupInfo> backup;  // the backup restored from, as found beforehand
    ConfigRestoreResult result;
};

// `layout` and `host` must outlive the task.
Task<RestoreReport> restoreOpenClawConfig(const OpenClawLayout& layout, Host& host);

std::string_view toString(ConfigRestore outcome);

}  // namespace pellix
