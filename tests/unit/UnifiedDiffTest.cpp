#include <gtest/gtest.h>
#include <stdlib.h>
#include <sys/wait.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <map>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "plan/UnifiedDiff.h"

namespace fs = std::filesystem;

namespace pellix {
namespace {

const std::string kHeader = "--- a/openclaw.json\n+++ b/openclaw.json\n";

// A folder of its own under /tmp, removed with everything in it at the end of the test.
class ScratchDir {
public:
    ScratchDir() {
        char name[] = "/tmp/udiff-test-XXXXXX";
        if (::mkdtemp(name) != nullptr) path_ = name;
    }
    ~ScratchDir() {
        std::error_code ignored;
        if (!path_.empty()) fs::remove_all(path_, ignored);
    }
    ScratchDir(const ScratchDir&) = delete;
    ScratchDir& operator=(const ScratchDir&) = delete;
    fs::path operator/(const char* name) const { return path_ / name; }
    bool made() const { return !path_.empty(); }

private:
    fs::path path_;
};

void writeFile(const fs::path& path, std::string_view bytes) {
    std::ofstream(path, std::ios::binary).write(bytes.data(), std::streamsize(bytes.size()));
}

std::string readFile(const fs::path& path) {
    std::ifstream in(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>()};
}

// Runs a shell command with stdin closed off, and gives its exit status and everything it printed.
std::pair<int, std::string> runCommand(const std::string& command) {
    FILE* pipe = ::popen((command + " </dev/null 2>&1").c_str(), "r");
    if (pipe == nullptr) return {-1, "popen failed"};
    std::string output;
    char buffer[4096];
    for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, pipe)) > 0;)
        output.append(buffer, n);
    const int status = ::pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

// Applies our diff to `before` with GNU patch and checks the result is `after` byte for byte.
// Fuzz is off and any message about a hunk (applied at an offset, or failed) fails the check, so
// the line numbers and the context have to be right, not just close enough for patch to cope.
// --binary keeps patch from stripping the "\r" of CRLF lines if it guesses the diff was mangled.
testing::AssertionResult roundTrips(std::string_view before, std::string_view after) {
    const std::string diff = unifiedDiff(before, after);
    if (diff.empty()) {
        if (before == after) return testing::AssertionSuccess();
        return testing::AssertionFailure() << "no diff for different texts";
    }
    ScratchDir dir;
    if (!dir.made()) return testing::AssertionFailure() << "mkdtemp failed";
    writeFile(dir / "before", before);
    writeFile(dir / "diff", diff);
    const auto [status, messages] =
        runCommand("patch -f --binary --fuzz=0 -o " + (dir / "out").string() + " " +
                   (dir / "before").string() + " " + (dir / "diff").string());
    if (status != 0 || messages.find("Hunk") != std::string::npos) {
        return testing::AssertionFailure() << "patch: " << status << " " << messages << diff;
    }
    if (readFile(dir / "out") != after) {
        return testing::AssertionFailure() << "patch gave other bytes with diff\n" << diff;
    }
    return testing::AssertionSuccess();
}

// What GNU diff prints for the two texts, with the labels we use.
std::string gnuDiff(std::string_view before, std::string_view after) {
    ScratchDir dir;
    writeFile(dir / "before", before);
    writeFile(dir / "after", after);
    return runCommand("diff -u --label a/openclaw.json --label b/openclaw.json " +
                      (dir / "before").string() + " " + (dir / "after").string())
        .second;
}

// "1\n2\n...count\n", with some lines replaced by other text (numbered from 1).
std::string numberedLines(int count, const std::map<int, std::string>& replaced = {}) {
    std::string text;
    for (int line = 1; line <= count; ++line) {
        const auto found = replaced.find(line);
        text += (found == replaced.end() ? std::to_string(line) : found->second) + "\n";
    }
    return text;
}

// Hunk headers start a line; a line of the texts that looks like one is behind its ' ', '-' or '+'.
std::size_t hunksIn(const std::string& diff) {
    std::size_t hunks = 0;
    for (std::size_t at = diff.find("\n@@ -"); at != std::string::npos;
         at = diff.find("\n@@ -", at + 1)) {
        ++hunks;
    }
    return hunks;
}

TEST(UnifiedDiff, EqualTextsGiveNothing) {
    EXPECT_EQ(unifiedDiff("", ""), "");
    EXPECT_EQ(unifiedDiff("a\nb\n", "a\nb\n"), "");
    EXPECT_EQ(unifiedDiff("a\r\nb", "a\r\nb"), "");
}

TEST(UnifiedDiff, OneChangedLineGivesWhatGnuDiffPrints) {
    EXPECT_EQ(unifiedDiff(numberedLines(9), numberedLines(9, {{5, "five"}})),
              kHeader + "@@ -2,7 +2,7 @@\n 2\n 3\n 4\n-5\n+five\n 6\n 7\n 8\n");
    EXPECT_EQ(unifiedDiff("a\n", "b\n"), kHeader + "@@ -1 +1 @@\n-a\n+b\n");
}

TEST(UnifiedDiff, OneChangedLineInTheMiddleOfAThousand) {
    const std::string before = numberedLines(1000);
    const std::string after = numberedLines(1000, {{500, "changed"}});
    EXPECT_EQ(
        unifiedDiff(before, after),
        kHeader + "@@ -497,7 +497,7 @@\n 497\n 498\n 499\n-500\n+changed\n 501\n 502\n 503\n");
    EXPECT_TRUE(roundTrips(before, after));
}

TEST(UnifiedDiff, LabelsAreShownAsGiven) {
    EXPECT_EQ(unifiedDiff("a\n", "b\n", {"old/config.json", "new/config.json"}),
              "--- old/config.json\n+++ new/config.json\n@@ -1 +1 @@\n-a\n+b\n");
}

TEST(UnifiedDiff, EmptyBeforeAddsEveryLine) {
    EXPECT_EQ(unifiedDiff("", "x\ny\n"), kHeader + "@@ -0,0 +1,2 @@\n+x\n+y\n");
    EXPECT_TRUE(roundTrips("", "x\ny\n"));
    EXPECT_TRUE(roundTrips("", "x"));
}

TEST(UnifiedDiff, EmptyAfterRemovesEveryLine) {
    EXPECT_EQ(unifiedDiff("x\ny\n", ""), kHeader + "@@ -1,2 +0,0 @@\n-x\n-y\n");
    EXPECT_TRUE(roundTrips("x\ny\n", ""));
    EXPECT_TRUE(roundTrips("x", ""));
}

TEST(UnifiedDiff, MissingFinalNewlineInBefore) {
    EXPECT_EQ(unifiedDiff("a\nb\nc", "a\nb\nc\n"),
              kHeader + "@@ -1,3 +1,3 @@\n a\n b\n-c\n\\ No newline at end of file\n+c\n");
    EXPECT_TRUE(roundTrips("a\nb\nc", "a\nb\nc\n"));
    EXPECT_TRUE(roundTrips("a\nb\nc", "a\nb\nc\nd\n"));
}

TEST(UnifiedDiff, MissingFinalNewlineInAfter) {
    EXPECT_EQ(unifiedDiff("a\nb\nc\n", "a\nb\nc"),
              kHeader + "@@ -1,3 +1,3 @@\n a\n b\n-c\n+c\n\\ No newline at end of file\n");
    EXPECT_TRUE(roundTrips("a\nb\nc\n", "a\nb\nc"));
    EXPECT_TRUE(roundTrips("a\nb\nc\n", "a\nb"));
}

TEST(UnifiedDiff, MissingFinalNewlineInBoth) {
    EXPECT_EQ(unifiedDiff("a\nb\nc", "a\nB\nc"),
              kHeader + "@@ -1,3 +1,3 @@\n a\n-b\n+B\n c\n\\ No newline at end of file\n");
    EXPECT_EQ(unifiedDiff("a\nb", "a\nc"), kHeader +
                                               "@@ -1,2 +1,2 @@\n a\n-b\n\\ No newline at end of "
                                               "file\n+c\n\\ No newline at end of file\n");
    EXPECT_TRUE(roundTrips("a\nb\nc", "a\nB\nc"));
    EXPECT_TRUE(roundTrips("a\nb", "a\nc"));
}

TEST(UnifiedDiff, CrLfLineEndsSurvive) {
    EXPECT_EQ(unifiedDiff("a\r\nb\r\nc\r\n", "a\r\nB\r\nc\r\n"),
              kHeader + "@@ -1,3 +1,3 @@\n a\r\n-b\r\n+B\r\n c\r\n");
    EXPECT_EQ(unifiedDiff("a\r\nb\r\nc", "a\r\nB\r\nc"),
              kHeader + "@@ -1,3 +1,3 @@\n a\r\n-b\r\n+B\r\n c\n\\ No newline at end of file\n");
    EXPECT_TRUE(roundTrips("a\r\nb\r\nc\r\n", "a\r\nB\r\nc\r\n"));
    EXPECT_TRUE(roundTrips("a\r\nb\r\nc", "a\r\nB\r\nc"));
    EXPECT_TRUE(roundTrips("a\r\nb\r\n", "a\nb\n"));
    EXPECT_TRUE(roundTrips("a\r\nb\r", "a\r\nb\r\n"));
}

TEST(UnifiedDiff, ChangesAtTheStartAndTheEnd) {
    const std::string before = numberedLines(20);
    const std::string after = numberedLines(20, {{1, "first"}, {20, "last"}});
    EXPECT_EQ(unifiedDiff(before, after), kHeader +
                                              "@@ -1,4 +1,4 @@\n-1\n+first\n 2\n 3\n 4\n"
                                              "@@ -17,4 +17,4 @@\n 17\n 18\n 19\n-20\n+last\n");
    EXPECT_TRUE(roundTrips(before, after));
    EXPECT_TRUE(roundTrips(before, "new\n" + before + "new\n"));
    EXPECT_TRUE(roundTrips(before, numberedLines(20).substr(2)));
}

TEST(UnifiedDiff, ChangesSixLinesApartShareOneHunk) {
    const std::string before = numberedLines(30);
    const std::string after = numberedLines(30, {{10, "X"}, {17, "Y"}});
    EXPECT_EQ(unifiedDiff(before, after),
              kHeader +
                  "@@ -7,14 +7,14 @@\n 7\n 8\n 9\n-10\n+X\n 11\n 12\n 13\n 14\n 15\n 16\n-17\n+Y\n"
                  " 18\n 19\n 20\n");
    EXPECT_TRUE(roundTrips(before, after));
}

TEST(UnifiedDiff, ChangesSevenOrEightLinesApartGetTwoHunks) {
    const std::string before = numberedLines(30);
    const std::string seven = numberedLines(30, {{10, "X"}, {18, "Y"}});
    EXPECT_EQ(unifiedDiff(before, seven),
              kHeader +
                  "@@ -7,7 +7,7 @@\n 7\n 8\n 9\n-10\n+X\n 11\n 12\n 13\n"
                  "@@ -15,7 +15,7 @@\n 15\n 16\n 17\n-18\n+Y\n 19\n 20\n 21\n");
    const std::string eight = numberedLines(30, {{10, "X"}, {19, "Y"}});
    EXPECT_EQ(unifiedDiff(before, eight),
              kHeader +
                  "@@ -7,7 +7,7 @@\n 7\n 8\n 9\n-10\n+X\n 11\n 12\n 13\n"
                  "@@ -16,7 +16,7 @@\n 16\n 17\n 18\n-19\n+Y\n 20\n 21\n 22\n");
    EXPECT_TRUE(roundTrips(before, seven));
    EXPECT_TRUE(roundTrips(before, eight));
}

// Checked against the diff on this machine when it is GNU diff: the cases above where the shortest
// diff is the only sensible one must come out the same.
TEST(UnifiedDiff, SameAsGnuDiffOnSimpleCases) {
    if (runCommand("diff --version").second.find("GNU diffutils") == std::string::npos) {
        GTEST_SKIP() << "no GNU diff here";
    }
    const std::vector<std::pair<std::string, std::string>> cases = {
        {numberedLines(9), numberedLines(9, {{5, "five"}})},
        {numberedLines(1000), numberedLines(1000, {{500, "changed"}})},
        {"", "x\ny\n"},
        {"x\ny\n", ""},
        {"a\nb\nc", "a\nb\nc\n"},
        {"a\nb\nc\n", "a\nb\nc"},
        {"a\nb\nc", "a\nB\nc"},
        {"a\r\nb\r\nc", "a\r\nB\r\nc"},
        {numberedLines(20), numberedLines(20, {{1, "first"}, {20, "last"}})},
        {numberedLines(30), numberedLines(30, {{10, "X"}, {17, "Y"}})},
        {numberedLines(30), numberedLines(30, {{10, "X"}, {18, "Y"}})},
        {numberedLines(30), numberedLines(30, {{10, "X"}, {19, "Y"}})},
        {numberedLines(30), numberedLines(30, {{2, "X"}, {5, "Y"}, {9, "Z"}, {29, "W"}})},
        {numberedLines(30), numberedLines(30, {{3, "X"}}).substr(0, 80)},
        {numberedLines(30, {{30, "x"}}), numberedLines(30, {{29, "y"}}).substr(0, 79)},
        {"a\nb\n", "a\nb"},
        {"a\nb", "c\nb\n"},
        {"b\n", "a\nb"},
    };
    for (const auto& [before, after] : cases) {
        EXPECT_EQ(unifiedDiff(before, after), gnuDiff(before, after)) << before << after;
    }
}

std::string jsonLikeText(std::size_t atLeast) {
    std::string text = "{\n";
    for (int i = 0; text.size() < atLeast; ++i) {
        text += "    \"entry" + std::to_string(i) + "\": {\"name\": \"agent-" + std::to_string(i) +
                "\", \"enabled\": true, \"port\": " + std::to_string(8000 + i % 1000) + "},\n";
    }
    return text + "}\n";
}

TEST(UnifiedDiff, FewChangesInAFiveMegabyteText) {
    const std::string before = jsonLikeText(5 << 20);
    std::string after = before;
    for (const std::size_t at : {after.size() / 10, after.size() / 2, after.size() - 200}) {
        after.replace(after.find("true", at), 4, "false");
    }
    const std::string diff = unifiedDiff(before, after);
    EXPECT_EQ(hunksIn(diff), 3u);
    EXPECT_LT(diff.size(), 3000u);
    EXPECT_TRUE(roundTrips(before, after));
}

// The installer writes no newline after the closing brace: a file that had one differs in its
// last line too, and the edits near the top still make two small hunks, not one of the whole file.
TEST(UnifiedDiff, EditsAtTheTopAndALostFinalNewlineInAFiveMegabyteText) {
    const std::string before = jsonLikeText(5 << 20);
    std::string after = before;
    after.replace(after.find("true"), 4, "false");
    after.pop_back();
    const std::string diff = unifiedDiff(before, after);
    EXPECT_EQ(hunksIn(diff), 2u);
    EXPECT_LT(diff.size(), 1000u);
    EXPECT_NE(diff.find("-}\n+}\n\\ No newline at end of file\n"), std::string::npos) << diff;
    EXPECT_TRUE(roundTrips(before, after));
}

TEST(UnifiedDiff, TwentyThousandLinesReversedStillFinishExactly) {
    std::vector<std::string> lines;
    for (int i = 0; i < 20000; ++i) lines.push_back("line " + std::to_string(i) + "\n");
    std::string before;
    for (const std::string& line : lines) before += line;
    std::string after;
    for (auto line = lines.rbegin(); line != lines.rend(); ++line) after += *line;
    EXPECT_TRUE(roundTrips(before, after));
}

// A text of up to a dozen lines from a few, some of which look like parts of a diff, with line
// ends mixed between "\n" and "\r\n" and now and then no newline (or only the "\r") at the end.
std::string randomText(std::mt19937& rng, int maxLines) {
    static const std::vector<std::string> kLines = {
        "a", "b", "c", "{",     "}",     "  \"x\": 1,", "",
        " ", "-", "+", "--- a", "+++ b", "@@ -1 +1 @@", "\\ No newline at end of file"};
    std::string text;
    const int count = std::uniform_int_distribution<int>(0, maxLines)(rng);
    for (int i = 0; i < count; ++i) {
        text += kLines[std::uniform_int_distribution<std::size_t>(0, kLines.size() - 1)(rng)];
        text += rng() % 4 == 0 ? "\r\n" : "\n";
    }
    if (!text.empty() && rng() % 4 == 0) text.pop_back();
    return text;
}

// `text` with a few lines dropped or added, so most pairs share lines as context.
std::string edited(std::mt19937& rng, const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) lines.push_back(line + "\n");
    if (!text.empty() && text.back() != '\n') lines.back().pop_back();
    const int edits = std::uniform_int_distribution<int>(1, 3)(rng);
    for (int i = 0; i < edits; ++i) {
        const std::size_t at = std::uniform_int_distribution<std::size_t>(0, lines.size())(rng);
        const std::string line = randomText(rng, 1);
        if (at < lines.size() && rng() % 2 == 0) {
            lines.erase(lines.begin() + std::ptrdiff_t(at));
        } else {
            lines.insert(lines.begin() + std::ptrdiff_t(at), line.empty() ? "new\n" : line);
        }
    }
    std::string result;
    for (const std::string& line : lines) result += line;
    return result;
}

TEST(UnifiedDiff, RandomTextsRoundTripThroughPatch) {
    std::mt19937 rng(20240611);
    for (int pair = 0; pair < 200; ++pair) {
        const std::string before = randomText(rng, 12);
        const std::string after =
            pair % 2 == 0 ? randomText(rng, 12) : edited(rng, before + randomText(rng, 3));
        EXPECT_TRUE(roundTrips(before, after)) << "pair " << pair;
    }
}

}  // namespace
}  // namespace pellix
