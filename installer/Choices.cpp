#include "Choices.h"

#include <algorithm>
#include <iterator>

namespace pellix {

namespace {

template <typename Row, std::size_t N>
const Row* rowFor(const Row (&table)[N], std::string_view word) {
    const auto found = std::find_if(std::begin(table), std::end(table),
                                    [&](const Row& row) { return row.word == word; });
    return found == std::end(table) ? nullptr : &*found;
}

template <typename Row, std::size_t N>
std::string wordsOf(const Row (&table)[N]) {
    std::string text;
    for (std::size_t i = 0; i < N; ++i) {
        if (i > 0) text += (i + 1 == N) ? " or " : ", ";
        text += table[i].word;
    }
    return text;
}

}  // namespace

const ScanPreset& scanPresetFor(std::string_view word) {
    if (const ScanPreset* row = rowFor(kScanPresets, word)) return *row;
    return *rowFor(kScanPresets, kDefaultScanPreset);
}

const ModelOption& modelFor(std::string_view word) {
    if (const ModelOption* row = rowFor(kModels, word)) return *row;
    return *rowFor(kModels, kDefaultModel);
}

bool isScanPreset(std::string_view word) {
    return rowFor(kScanPresets, word) != nullptr;
}

bool isModel(std::string_view word) {
    return rowFor(kModels, word) != nullptr;
}

std::string scanPresetWords() {
    return wordsOf(kScanPresets);
}

std::string modelWords() {
    return wordsOf(kModels);
}

Choices choicesOfEntry(std::string_view modelIdentifier, std::string_view heartbeatMinutes) {
    Choices choices{std::string(heartbeatMinutes) + " min", std::string(modelIdentifier)};
    for (const ScanPreset& preset : kScanPresets) {
        if (std::to_string(preset.minutes) == heartbeatMinutes) {
            choices.scanPreset = std::string(preset.word);
        }
    }
    for (const ModelOption& model : kModels) {
        if (model.identifier == modelIdentifier) choices.modelChoice = std::string(model.word);
    }
    return choices;
}

}  // namespace pellix
