#pragma once
// The two choices an install is made with, the scan frequency and the AI model: one table of
// each, read by the welcome screen, the command line's parser and help, and the registration in
// openclaw.json. Constant data and pure functions; any thread.

#include <string>
#include <string_view>

namespace pellix {

struct ScanPreset {
    std::string_view word;   // what is stored, typed and written: "standard"
    int minutes;             // the agent's heartbeat interval
    std::string_view label;  // the welcome screen's segment, as English source text
};

struct ModelOption {
    std::string_view word;        // "sonnet"
    std::string_view identifier;  // the model the host runs the agent on
    std::string_view label;       // the welcome screen's segment, as English source text
};

// In the order the welcome screen shows them.
inline constexpr ScanPreset kScanPresets[] = {
    {"vigilant", 5, "Vigilant (5 min)"},
    {"standard", 15, "Standard (15 min)"},
    {"relaxed", 60, "Relaxed (hourly)"},
    {"daily", 1440, "Daily Digest"},
};

inline constexpr ModelOption kModels[] = {
    {"haiku", "anthropic/claude-haiku-3-5-20241022", "Haiku (~$15/mo)"},
    {"sonnet", "anthropic/claude-sonnet-4-20250514", "Sonnet (~$45/mo)"},
    {"opus", "anthropic/claude-opus-4-6", "Opus (~$150/mo)"},
};

inline constexpr std::string_view kDefaultScanPreset = "standard";
inline constexpr std::string_view kDefaultModel = "sonnet";

// The row for `word`. Any other word gets the default's row: the registration has always given
// an unknown preset 15 minutes and an unknown model the Sonnet identifier, on purpose.
const ScanPreset& scanPresetFor(std::string_view word);
const ModelOption& modelFor(std::string_view word);

// Whether `word` is in the table (the command line refuses any other).
bool isScanPreset(std::string_view word);
bool isModel(std::string_view word);

// The table's words joined for a sentence: "vigilant, standard, relaxed or daily".
std::string scanPresetWords();
std::string modelWords();

// The model identifier and heartbeat minutes written into the agent's entry.
inline std::string modelIdentifier(std::string_view modelChoice) {
    return std::string(modelFor(modelChoice).identifier);
}
inline int heartbeatMinutes(std::string_view scanPreset) {
    return scanPresetFor(scanPreset).minutes;
}

// The choices of one install, as the welcome screen's pickers or the command line set them.
struct Choices {
    std::string scanPreset{kDefaultScanPreset};
    std::string modelChoice{kDefaultModel};
    bool operator==(const Choices&) const = default;
};

// The choices an entry's values stand for, read back through the tables: the model identifier
// and the heartbeat minutes as written. A value no row has is given as it stands ("45 min", the
// identifier itself).
Choices choicesOfEntry(std::string_view modelIdentifier, std::string_view heartbeatMinutes);

}  // namespace pellix
