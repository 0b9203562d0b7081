#pragma once
// What an install put where: <OpenClaw home>/.pellix-installer/receipt.json, written whole
// (mode 0600) at the end of every install that placed the agent's files. Status reads it to
// tell the installed version, the choices in effect and which shipped files changed; uninstall
// removes what it lists besides what it finds. A receipt of an older schema is read for what it
// has; one of a newer schema, or one that is not JSON, is named and otherwise ignored. Blocking
// file work; any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace pellix {

struct ManifestEntry {
    std::string path;  // relative to the agent's tree
    std::uint64_t size = 0;
    unsigned mode = 0;   // permission bits
    std::string digest;  // XXH3-128, 32 hex digits; empty for a symbolic link
    bool link = false;
};

struct Receipt {
    static constexpr int kSchemaVersion = 1;

    int schemaVersion = kSchemaVersion;
    std::string installerVersion;
    std::optional<std::string> agentVersion;  // the bundle's VERSION file, where it has one
    std::string scanPreset;
    std::string modelChoice;
    std::string registrationForm;  // "agents.list", "agents.entries", ...; empty when not known
    std::string serviceManager;    // "launchd" or "systemd"
    std::vector<std::string> jobFiles;
    std::string workspace;
    std::string pellixDir;
    std::string installedAt;  // UTC, "2026-11-23T10:00:00Z"
    std::vector<ManifestEntry> manifest;
};

enum class ReceiptState { missing, current, older, newer, unreadable };

// "missing", "current", "older", "newer", "unreadable".
const char* toString(ReceiptState state);

struct ReceiptRead {
    ReceiptState state = ReceiptState::missing;
    std::optional<Receipt> receipt;  // for current and older receipts
    int schemaVersion = 0;           // as the file says, where it says one
};

std::string receiptPath(const std::string& openclawHome);

// `currentSchema` is this installer's; a reader of a later schema passes its own.
ReceiptRead readReceipt(const std::string& path, int currentSchema = Receipt::kSchemaVersion);
std::string renderReceipt(const Receipt& receipt);
// Atomically, mode 0600, its folder made 0700 when missing.
bool writeReceipt(const std::string& path, const Receipt& receipt);

// The files and links of `tree`, sorted by path, each with its size, mode and digest.
std::vector<ManifestEntry> manifestOf(const std::string& tree);

// The agent's version as its bundle names it: the first line of VERSION at the bundle's top.
std::optional<std::string> bundleVersion(const std::string& tree);

// Shipped files changed or gone since the install; ops/ is the agent's and the user's and is
// never counted.
struct Drift {
    std::vector<std::string> modified;
    std::vector<std::string> missing;
    bool empty() const { return modified.empty() && missing.empty(); }
};
Drift driftOf(const Receipt& receipt, const std::string& pellixDir);

}  // namespace pellix
