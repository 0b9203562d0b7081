#pragma once
// The changes the installer is about to make to a file, shown to the user as the text `diff -u`
// would print, so they can read (or save and apply with `patch`) exactly what will be written.
// The diff is exact down to the byte: CRLF line ends and a missing final newline survive a round
// trip through `patch`. Large files with a few changes cost time in proportion to their size, and
// very different large files still finish quickly (with a longer diff than the shortest one).
// Safe on any thread; throws nothing but std::bad_alloc.

#include <string>
#include <string_view>

namespace pellix {

// Labels shown on the ---/+++ lines.
struct DiffLabels {
    std::string before = "a/openclaw.json";
    std::string after = "b/openclaw.json";
};

// The unified diff (diff -u format, three lines of context) that turns `before` into `after`,
// exactly: `patch` applied to a file holding `before` gives `after` byte for byte. Empty when the
// two are equal.
std::string unifiedDiff(std::string_view before, std::string_view after,
                        const DiffLabels& labels = {});

}  // namespace pellix
