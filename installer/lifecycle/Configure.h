#pragma once
// Changes the choices of an installed agent in place: the Pellix entry's model, heartbeat model
// and heartbeat interval in openclaw.json (in whichever form the entry stands), through the same
// transaction, backup and host check as the install's edits; then the receipt, and a gateway
// restart when the file changed. Runs on the host's thread; holds the home's lock.

#include <optional>

#include "Choices.h"
#include "Host.h"
#include "OpenClawLayout.h"
#include "Task.h"
#include "config/ConfigTransaction.h"

namespace pellix {

// Each choice left out keeps the one in effect.
struct ChoiceChange {
    std::optional<std::string> scanPreset;
    std::optional<std::string> modelChoice;
};

struct ConfigureReport {
    bool homeBusy = false;
    bool installed = false;   // false: nothing was looked at further
    bool registered = false;  // openclaw.json holds a Pellix entry to change
    Choices before;           // the choices in effect before the run
    Choices after;
    std::optional<ConfigEditResult> config;  // none when the file was not touched
    HostVerdict verdict;
    std::optional<ShellResult> gatewayRestart;  // none when the gateway was left alone

    bool changed() const { return config == ConfigEditResult::written; }
    bool succeeded() const {
        return registered &&
               (config == ConfigEditResult::written || config == ConfigEditResult::unchanged);
    }
};

Task<ConfigureReport> configureAgent(const OpenClawLayout& layout, Host& host, ChoiceChange change);

}  // namespace pellix
