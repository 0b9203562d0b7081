// The scan presets and models have one table each: the parser, the help, the welcome screen and
// the registration read it, and the shipped bash completion and manual page must list the same
// words in the same order.

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "CommandLine.h"
#include "TestSupport.h"

namespace pellix {
namespace {

std::vector<std::string> presetWordList() {
    std::vector<std::string> words;
    for (const ScanPreset& preset : kScanPresets) words.emplace_back(preset.word);
    return words;
}

std::vector<std::string> modelWordList() {
    std::vector<std::string> words;
    for (const ModelOption& model : kModels) words.emplace_back(model.word);
    return words;
}

std::vector<std::string> split(const std::string& text) {
    std::istringstream in(text);
    std::vector<std::string> words;
    for (std::string word; in >> word;) words.push_back(word);
    return words;
}

std::string packagingFile(const std::string& name) {
    return test::readFile(std::string(PELLIX_SOURCE_DIR) + "/packaging/" + name);
}

// The words the completion offers after `option`: its `compgen -W '...'` line.
std::vector<std::string> completionWords(const std::string& option) {
    const std::string script = packagingFile("pellix-installer.bash-completion");
    const std::regex pattern(option + R"(\)\s*\n\s*COMPREPLY=\(\$\(compgen -W '([^']*)')");
    std::smatch match;
    if (!std::regex_search(script, match, pattern)) return {};
    return split(match[1]);
}

// The bold words of the manual page's paragraph on `option` (`.BI \-\-scan " preset"`).
std::vector<std::string> manualPageWords(const std::string& option) {
    std::istringstream page(packagingFile("pellix-installer.1.in"));
    std::vector<std::string> words;
    bool inParagraph = false;
    for (std::string line; std::getline(page, line);) {
        if (line.starts_with(".BI \\-\\-" + option + " ")) {
            inParagraph = true;
        } else if (inParagraph && line == ".TP") {
            break;
        } else if (inParagraph && (line.starts_with(".B ") || line.starts_with(".BR "))) {
            words.push_back(split(line.substr(line.find(' ') + 1)).front());
        }
    }
    return words;
}

TEST(ChoiceTables, DefaultsAndFallThroughRowsAreTheRegistrationsOwn) {
    EXPECT_EQ(kDefaultScanPreset, "standard");
    EXPECT_EQ(kDefaultModel, "sonnet");
    EXPECT_EQ(scanPresetFor("hourly").word, "standard");
    EXPECT_EQ(modelFor("gpt").word, "sonnet");
    EXPECT_TRUE(isScanPreset("daily"));
    EXPECT_FALSE(isScanPreset("Daily"));
    EXPECT_TRUE(isModel("opus"));
    EXPECT_FALSE(isModel(""));
}

TEST(ChoiceTables, WordsForSentencesFollowTheTables) {
    EXPECT_EQ(scanPresetWords(), "vigilant, standard, relaxed or daily");
    EXPECT_EQ(modelWords(), "haiku, sonnet or opus");
}

TEST(ChoiceTables, WelcomeScreenLabelsAreTheTables) {
    EXPECT_EQ(scanPresetFor("vigilant").label, "Vigilant (5 min)");
    EXPECT_EQ(scanPresetFor("standard").label, "Standard (15 min)");
    EXPECT_EQ(scanPresetFor("relaxed").label, "Relaxed (hourly)");
    EXPECT_EQ(scanPresetFor("daily").label, "Daily Digest");
    EXPECT_EQ(modelFor("haiku").label, "Haiku (~$15/mo)");
    EXPECT_EQ(modelFor("sonnet").label, "Sonnet (~$45/mo)");
    EXPECT_EQ(modelFor("opus").label, "Opus (~$150/mo)");
}

TEST(ChoiceTables, InstallHelpOffersExactlyTheTablesWords) {
    const std::string help = helpText(Command::install);
    EXPECT_NE(help.find("scan frequency: " + scanPresetWords() + " (default standard)"),
              std::string::npos);
    EXPECT_NE(help.find("AI model: " + modelWords() + " (default sonnet)"), std::string::npos);
}

TEST(ChoiceTables, BashCompletionListsTheTablesWords) {
    EXPECT_EQ(completionWords("--scan"), presetWordList());
    EXPECT_EQ(completionWords("--model"), modelWordList());
}

TEST(ChoiceTables, ManualPageListsTheTablesWords) {
    EXPECT_EQ(manualPageWords("scan"), presetWordList());
    EXPECT_EQ(manualPageWords("model"), modelWordList());
}

}  // namespace
}  // namespace pellix
