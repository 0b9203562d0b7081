#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <optional>
#include <sstream>
#include <vector>

#include "TestSupport.h"
#include "jobs/PropertyLists.h"

namespace pellix {
namespace {

namespace fs = std::filesystem;
using test::TempDir;

const std::string kHome = "/Users/ada";
const std::string kOpenclawHome = "/Users/ada/.openclaw";
const std::string kPellixDir = "/Users/ada/.openclaw/workspace-main/agents/pellix-unified";
const std::string kPython = "/opt/homebrew/bin/python3";

std::string golden(const std::string& name) {
    return test::readFile(std::string(PELLIX_TEST_DATA_DIR) + "/plists/" + name);
}

std::string scannerText(const AgentJob& job, const std::string& pellixDir = kPellixDir) {
    return propertyList(job, {pellixDir, job.runByPython ? kPython : kBashPath, kHome, ""});
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line);
    return lines;
}

std::optional<std::string> outputOf(const std::string& command) {
    FILE* pipe = ::popen(command.c_str(), "r");
    if (pipe == nullptr) return std::nullopt;
    std::string output;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        output.append(buffer, n);
    if (::pclose(pipe) != 0) return std::nullopt;
    return output;
}

// plistutil exits 0 even when it cannot parse, so a failure shows only as a message and a missing
// output file. Converting the binary form back to XML gives the parser's reading of the file.
std::optional<std::string> parsedByPlistutil(const std::string& path) {
    TempDir scratch;
    const std::string binary = scratch / "parsed.bin";
    const auto complaints = outputOf("plistutil -i '" + path + "' -f bin -o '" + binary + "' 2>&1");
    if (!complaints || !complaints->empty() || !fs::exists(binary)) return std::nullopt;
    return outputOf("plistutil -i '" + binary + "' -f xml");
}

// What plistutil prints for our layout: the same lines, a tab per level, a final line feed.
std::string asPlistutilPrintsIt(const std::string& text) {
    std::string result;
    for (const std::string& line : linesOf(text)) {
        std::size_t blanks = line.find_first_not_of(' ');
        if (blanks == std::string::npos) blanks = line.size();
        result += std::string(blanks / 4, '\t') + line.substr(blanks) + "\n";
    }
    return result;
}

void expectParsesToItself(const std::string& path) {
    const std::optional<std::string> parsed = parsedByPlistutil(path);
    ASSERT_TRUE(parsed.has_value()) << path << " was not accepted by plistutil";
    EXPECT_EQ(*parsed, asPlistutilPrintsIt(test::readFile(path)));
}

TEST(PropertyLists, ServiceTextMatchesGoldenByteForByte) {
    EXPECT_EQ(propertyList(kServiceJob, {kPellixDir, kPython, kHome, kOpenclawHome}),
              golden("ai.pellix.pellix-service.plist"));
}

TEST(PropertyLists, ScannerTextsMatchGoldensByteForByte) {
    for (const AgentJob& job : kScannerJobs) {
        const std::string label = jobLabel(job.labelSuffix);
        EXPECT_EQ(scannerText(job), golden(label + ".plist")) << label;
    }
}

TEST(PropertyLists, GoldensAreReadByPlistutilAsWritten) {
    expectParsesToItself(std::string(PELLIX_TEST_DATA_DIR) +
                         "/plists/ai.pellix.pellix-service.plist");
    for (const AgentJob& job : kScannerJobs) {
        expectParsesToItself(std::string(PELLIX_TEST_DATA_DIR) + "/plists/" +
                             jobLabel(job.labelSuffix) + ".plist");
    }
}

TEST(PropertyLists, LabelsShareOnePrefix) {
    EXPECT_EQ(serviceJobLabel(), "ai.pellix.pellix-service");
    EXPECT_EQ(jobLabel(kScannerJobs[0].labelSuffix), "ai.pellix.pellix.wal");
    EXPECT_EQ(jobLabel(kScannerJobs[1].labelSuffix), "ai.pellix.pellix.tripwire-grep");
    EXPECT_EQ(jobLabel(kScannerJobs[2].labelSuffix), "ai.pellix.pellix.tripwire-ai");
}

TEST(PropertyLists, ServiceTextHasThirtyLinesAndNoTrailingLineFeed) {
    const std::string text = propertyList(kServiceJob, {kPellixDir, kPython, kHome, kOpenclawHome});
    EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 29);
    EXPECT_TRUE(text.ends_with("\n</plist>"));
}

TEST(PropertyLists, ScannerTextsHaveTwentyEightLinesAndNoTrailingLineFeed) {
    for (const AgentJob& job : kScannerJobs) {
        const std::string text = scannerText(job);
        EXPECT_EQ(std::count(text.begin(), text.end(), '\n'), 27);
        EXPECT_TRUE(text.ends_with("\n</plist>"));
    }
}

TEST(PropertyLists, IndentationIsBlanksNeverTabs) {
    EXPECT_EQ(propertyList(kServiceJob, {kPellixDir, kPython, kHome, kOpenclawHome}).find('\t'),
              std::string::npos);
    for (const AgentJob& job : kScannerJobs)
        EXPECT_EQ(scannerText(job).find('\t'), std::string::npos);
}

TEST(PropertyLists, LineTwoIsTheAppleDoctype) {
    EXPECT_EQ(linesOf(scannerText(kScannerJobs[0]))[1],
              "<!DOCTYPE plist PUBLIC \"-//Apple//DTD PLIST 1.0//EN\" "
              "\"http://www.apple.com/DTDs/PropertyList-1.0.dtd\">");
}

TEST(PropertyLists, OpenclawHomeStandsOnLineTwentySeven) {
    const auto lines =
        linesOf(propertyList(kServiceJob, {kPellixDir, kPython, kHome, "/custom/claw home"}));
    EXPECT_EQ(lines[25], "        <key>OPENCLAW_HOME</key>");
    EXPECT_EQ(lines[26], "        <string>/custom/claw home</string>");
}

TEST(PropertyLists, ScannerIntervalsAre300300And900) {
    EXPECT_EQ(linesOf(scannerText(kScannerJobs[0]))[12], "    <integer>300</integer>");
    EXPECT_EQ(linesOf(scannerText(kScannerJobs[1]))[12], "    <integer>300</integer>");
    EXPECT_EQ(linesOf(scannerText(kScannerJobs[2]))[12], "    <integer>900</integer>");
}

TEST(PropertyLists, PellixDirWithBlankIsKeptVerbatimAndStaysValid) {
    TempDir temp;
    const std::string pellixDir = "/Users/ada/My Agents/pellix-unified";
    test::writeFile(temp / "service.plist",
                    propertyList(kServiceJob, {pellixDir, kPython, kHome, kOpenclawHome}));
    test::writeFile(temp / "scanner.plist", scannerText(kScannerJobs[2], pellixDir));
    expectParsesToItself(temp / "service.plist");
    expectParsesToItself(temp / "scanner.plist");
    EXPECT_EQ(
        linesOf(test::readFile(temp / "service.plist"))[9],
        "        <string>/Users/ada/My Agents/pellix-unified/scripts/pellix-service.py</string>");
}

// Paths go in unescaped, so an ampersand makes a file no parser accepts; that is accepted.
TEST(PropertyLists, ValuesAreNotXmlEscaped) {
    TempDir temp;
    const std::string text =
        propertyList(kServiceJob, {"/Users/ada/R&D", kPython, kHome, kOpenclawHome});
    EXPECT_NE(text.find("<string>/Users/ada/R&D/scripts/pellix-service.py</string>"),
              std::string::npos);
    test::writeFile(temp / "service.plist", text);
    EXPECT_FALSE(parsedByPlistutil(temp / "service.plist").has_value());
}

TEST(PropertyLists, FilesWrittenByTheWorkersAreReadByPlistutilAsWritten) {
    TempDir temp;
    const std::string home = temp / "home";
    const std::string fakeBin = test::installFakeCommands(temp / "bin");
    test::WorkerSetup model(test::testPlatform(home, fakeBin));
    const std::string pellixDir = home + "/.openclaw/workspace-main/agents/pellix-unified";
    EXPECT_EQ(steps::installAlwaysOnService(model.context(), pellixDir).runToCompletion().status,
              StepStatus::success);
    EXPECT_EQ(steps::installScheduledScanners(model.context(), pellixDir).runToCompletion().status,
              StepStatus::success);
    const std::string agents = home + "/Library/LaunchAgents/";
    expectParsesToItself(agents + serviceJobLabel() + ".plist");
    for (const AgentJob& job : kScannerJobs) {
        expectParsesToItself(agents + jobLabel(job.labelSuffix) + ".plist");
    }
}

}  // namespace
}  // namespace pellix
