#pragma once
// Strict UTF-8 for what child processes print and what the command line writes: no overlong
// forms, no surrogates, nothing above U+10FFFF; and the trimming of a child's answer. Pure
// functions, safe on any thread.

#include <cstddef>
#include <string>
#include <string_view>

namespace pellix {

// Length of the valid sequence that starts at `at` (which must be inside `text`), or 0 when the
// bytes there are not one.
std::size_t validSequenceLength(std::string_view text, std::size_t at);

bool isValidUtf8(std::string_view bytes);

// `text` with every byte that is not part of a valid sequence replaced by U+FFFD.
std::string toValidUtf8(std::string_view text);

// `text` without the white space and line breaks at either end, as a Mac trims them (Unicode
// spaces included, e.g. U+00A0 and U+2028).
std::string trimWhitespaceAndNewlines(std::string_view text);

}  // namespace pellix
