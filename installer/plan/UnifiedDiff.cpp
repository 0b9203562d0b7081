#include "plan/UnifiedDiff.h"

#include <dtl/dtl.hpp>

#include <algorithm>
#include <cstddef>
#include <optional>
#include <vector>

namespace pellix {

namespace {

using Lines = std::vector<std::string_view>;

constexpr std::size_t kContext = 3;

// dtl's onHuge() only reserves its whole path buffer (two million points, about 48 MB) up front;
// the cap on that buffer applies either way. Reserving is worth it only when the part handed to
// dtl is large enough to be likely to fill it.
constexpr std::size_t kHugeLines = 20000;

// A run of lines of `before` replaced by a run of lines of `after`, as indexes into each; either
// run may be empty, never both.
struct Change {
    std::size_t beforeBegin = 0;
    std::size_t beforeEnd = 0;
    std::size_t afterBegin = 0;
    std::size_t afterEnd = 0;
};

// Each line keeps its "\n" (and the "\r" of a CRLF), so a last line without a newline never
// equals the same line with one, and the lines joined together give back the text exactly.
Lines splitLines(std::string_view text) {
    Lines lines;
    lines.reserve(static_cast<std::size_t>(std::count(text.begin(), text.end(), '\n')) + 1);
    std::size_t start = 0;
    while (start < text.size()) {
        const std::size_t newline = text.find('\n', start);
        const std::size_t end = newline == std::string_view::npos ? text.size() : newline + 1;
        lines.push_back(text.substr(start, end - start));
        start = end;
    }
    return lines;
}

// Turns dtl's edit script over before[from, beforeEnd) and after[from, afterEnd) into changes.
// Only the order of the kinds of edits is taken from the script, never its line numbers (which
// dtl gets wrong for the part it gives up on), and every line kept is checked to be the same on
// both sides, so whatever dtl returns the changes are exact. Nothing when the script does not add
// up, which cannot happen but is cheap to rule out.
std::vector<Change> changesFromScript(const Lines& before, const Lines& after, std::size_t from,
                                      std::size_t beforeEnd, std::size_t afterEnd) {
    Lines middleBefore(before.begin() + from, before.begin() + beforeEnd);
    Lines middleAfter(after.begin() + from, after.begin() + afterEnd);
    dtl::Diff<std::string_view, Lines> diff(middleBefore, middleAfter);
    // Past its cap dtl would start over on the rest, which costs quadratic time on very
    // different texts; unserious makes it delete and add the rest wholesale instead.
    diff.onUnserious();
    if (middleBefore.size() + middleAfter.size() > kHugeLines) diff.onHuge();
    diff.compose();

    std::vector<Change> changes;
    std::size_t beforeAt = from;
    std::size_t afterAt = from;
    bool inChange = false;
    for (const auto& [line, info] : diff.getSes().getSequence()) {
        if (info.type == dtl::SES_COMMON) {
            if (beforeAt >= beforeEnd || afterAt >= afterEnd ||
                before[beforeAt] != after[afterAt]) {
                return {};
            }
            ++beforeAt, ++afterAt;
            inChange = false;
            continue;
        }
        if (!inChange) changes.push_back({beforeAt, beforeAt, afterAt, afterAt});
        inChange = true;
        if (info.type == dtl::SES_DELETE) {
            if (beforeAt >= beforeEnd) return {};
            changes.back().beforeEnd = ++beforeAt;
        } else {
            if (afterAt >= afterEnd) return {};
            changes.back().afterEnd = ++afterAt;
        }
    }
    if (beforeAt != beforeEnd || afterAt != afterEnd) return {};
    return changes;
}

// The changes between the two texts. The lines the two share at the start and at the end are set
// aside first, so a few edits in a large file cost time in proportion to its size; they are still
// there to be shown as context. A last line that only gains or loses its newline (the installer
// writes none after the closing brace) would leave no shared end at all: then the lines before
// the two last ones are set aside instead, and the last pair is a change of its own.
std::vector<Change> findChanges(const Lines& before, const Lines& after) {
    const std::size_t shorter = std::min(before.size(), after.size());
    std::size_t prefix = 0;
    while (prefix < shorter && before[prefix] == after[prefix]) ++prefix;
    std::size_t suffix = 0;
    while (suffix < shorter - prefix &&
           before[before.size() - 1 - suffix] == after[after.size() - 1 - suffix]) {
        ++suffix;
    }
    std::size_t beforeEnd = before.size() - suffix;
    std::size_t afterEnd = after.size() - suffix;
    if (prefix == beforeEnd && prefix == afterEnd) return {};

    std::optional<Change> lastLines;
    if (suffix == 0 && beforeEnd > prefix + 1 && afterEnd > prefix + 1) {
        const std::size_t room = std::min(beforeEnd, afterEnd) - 1 - prefix;
        std::size_t shared = 0;
        while (shared < room && before[beforeEnd - 2 - shared] == after[afterEnd - 2 - shared]) {
            ++shared;
        }
        if (shared > 0) {
            lastLines = Change{beforeEnd - 1, beforeEnd, afterEnd - 1, afterEnd};
            beforeEnd -= 1 + shared;
            afterEnd -= 1 + shared;
        }
    }

    std::vector<Change> changes;
    const Change whole{prefix, beforeEnd, prefix, afterEnd};
    if (prefix == beforeEnd && prefix == afterEnd) {
        // Only the last lines differ.
    } else if (prefix == beforeEnd || prefix == afterEnd) {
        changes = {whole};
    } else {
        changes = changesFromScript(before, after, prefix, beforeEnd, afterEnd);
        if (changes.empty()) changes = {whole};
    }
    if (lastLines) changes.push_back(*lastLines);
    return changes;
}

// GNU's way of writing one side of a hunk: "start,count", just "start" for one line, and for no
// lines the number of the line before (0 at the top of the file).
void appendRange(std::string& out, std::size_t begin, std::size_t count) {
    out += std::to_string(count == 0 ? begin : begin + 1);
    if (count != 1) {
        out += ',';
        out += std::to_string(count);
    }
}

void appendLine(std::string& out, char mark, std::string_view line) {
    out += mark;
    out += line;
    if (line.empty() || line.back() != '\n') out += "\n\\ No newline at end of file\n";
}

void appendLines(std::string& out, char mark, const Lines& lines, std::size_t begin,
                 std::size_t end) {
    for (std::size_t i = begin; i < end; ++i) appendLine(out, mark, lines[i]);
}

// One hunk: changes[first..last] and the context around them. The lines between two changes are
// the same on both sides, so the context is always taken from `before`.
void appendHunk(std::string& out, const Lines& before, const Lines& after,
                const std::vector<Change>& changes, std::size_t first, std::size_t last) {
    const Change& head = changes[first];
    const Change& tail = changes[last];
    const std::size_t previousEnd = first == 0 ? 0 : changes[first - 1].beforeEnd;
    const std::size_t nextBegin =
        last + 1 == changes.size() ? before.size() : changes[last + 1].beforeBegin;
    const std::size_t leading = std::min(kContext, head.beforeBegin - previousEnd);
    const std::size_t trailing = std::min(kContext, nextBegin - tail.beforeEnd);
    const std::size_t beforeBegin = head.beforeBegin - leading;
    const std::size_t afterBegin = head.afterBegin - leading;

    out += "@@ -";
    appendRange(out, beforeBegin, tail.beforeEnd + trailing - beforeBegin);
    out += " +";
    appendRange(out, afterBegin, tail.afterEnd + trailing - afterBegin);
    out += " @@\n";

    std::size_t kept = beforeBegin;
    for (std::size_t i = first; i <= last; ++i) {
        appendLines(out, ' ', before, kept, changes[i].beforeBegin);
        appendLines(out, '-', before, changes[i].beforeBegin, changes[i].beforeEnd);
        appendLines(out, '+', after, changes[i].afterBegin, changes[i].afterEnd);
        kept = changes[i].beforeEnd;
    }
    appendLines(out, ' ', before, kept, tail.beforeEnd + trailing);
}

}  // namespace

std::string unifiedDiff(std::string_view before, std::string_view after, const DiffLabels& labels) {
    if (before == after) return {};
    const Lines beforeLines = splitLines(before);
    const Lines afterLines = splitLines(after);
    const std::vector<Change> changes = findChanges(beforeLines, afterLines);
    if (changes.empty()) return {};

    std::string out = "--- " + labels.before + "\n+++ " + labels.after + "\n";
    std::size_t first = 0;
    while (first < changes.size()) {
        // Changes whose contexts would touch or overlap share a hunk, as GNU diff does.
        std::size_t last = first;
        while (last + 1 < changes.size() &&
               changes[last + 1].beforeBegin - changes[last].beforeEnd <= 2 * kContext) {
            ++last;
        }
        appendHunk(out, beforeLines, afterLines, changes, first, last);
        first = last + 1;
    }
    return out;
}

}  // namespace pellix
