#include "process/Utf8.h"

#include <cstddef>
#include <optional>

namespace pellix {

namespace {

struct Utf8Rule {
    std::size_t length;
    unsigned char secondLow;
    unsigned char secondHigh;
};

// The second byte's range is what rules out overlong forms, surrogates and values past U+10FFFF.
std::optional<Utf8Rule> ruleFor(unsigned char lead) {
    if (lead >= 0xC2 && lead <= 0xDF) return Utf8Rule{2, 0x80, 0xBF};
    if (lead == 0xE0) return Utf8Rule{3, 0xA0, 0xBF};
    if (lead == 0xED) return Utf8Rule{3, 0x80, 0x9F};
    if (lead >= 0xE1 && lead <= 0xEF) return Utf8Rule{3, 0x80, 0xBF};
    if (lead == 0xF0) return Utf8Rule{4, 0x90, 0xBF};
    if (lead >= 0xF1 && lead <= 0xF3) return Utf8Rule{4, 0x80, 0xBF};
    if (lead == 0xF4) return Utf8Rule{4, 0x80, 0x8F};
    return std::nullopt;
}

// The code point of the valid sequence of `length` bytes at `at`.
char32_t decode(std::string_view text, std::size_t at, std::size_t length) {
    const auto lead = static_cast<unsigned char>(text[at]);
    char32_t value = length == 1 ? lead : lead & (0x7F >> length);
    for (std::size_t i = 1; i < length; ++i) {
        value = (value << 6) | (static_cast<unsigned char>(text[at + i]) & 0x3F);
    }
    return value;
}

// The set a Mac trims as "whitespace and newlines": Unicode spaces, tabs and line breaks.
bool isWhitespaceOrNewline(char32_t c) {
    return (c >= 0x09 && c <= 0x0D) || c == 0x20 || c == 0x85 || c == 0xA0 || c == 0x1680 ||
           (c >= 0x2000 && c <= 0x200A) || c == 0x2028 || c == 0x2029 || c == 0x202F ||
           c == 0x205F || c == 0x3000;
}

// Whether the sequence at `at` is valid and white space; its length goes to `length` (1 for a
// byte that starts no valid sequence, which is never white space).
bool whitespaceAt(std::string_view text, std::size_t at, std::size_t& length) {
    length = validSequenceLength(text, at);
    if (length == 0) {
        length = 1;
        return false;
    }
    return isWhitespaceOrNewline(decode(text, at, length));
}

}  // namespace

std::size_t validSequenceLength(std::string_view text, std::size_t at) {
    const auto lead = static_cast<unsigned char>(text[at]);
    if (lead < 0x80) return 1;
    const std::optional<Utf8Rule> rule = ruleFor(lead);
    if (!rule || text.size() - at < rule->length) return 0;
    const auto second = static_cast<unsigned char>(text[at + 1]);
    if (second < rule->secondLow || second > rule->secondHigh) return 0;
    for (std::size_t i = 2; i < rule->length; ++i) {
        const auto next = static_cast<unsigned char>(text[at + i]);
        if (next < 0x80 || next > 0xBF) return 0;
    }
    return rule->length;
}

bool isValidUtf8(std::string_view bytes) {
    for (std::size_t at = 0; at < bytes.size();) {
        const std::size_t length = validSequenceLength(bytes, at);
        if (length == 0) return false;
        at += length;
    }
    return true;
}

std::string toValidUtf8(std::string_view text) {
    std::string result;
    result.reserve(text.size());
    for (std::size_t at = 0; at < text.size();) {
        const std::size_t length = validSequenceLength(text, at);
        if (length == 0) {
            result += "\xEF\xBF\xBD";
            ++at;
        } else {
            result.append(text.substr(at, length));
            at += length;
        }
    }
    return result;
}

std::string trimWhitespaceAndNewlines(std::string_view text) {
    std::size_t begin = 0;
    std::size_t length = 0;
    while (begin < text.size() && whitespaceAt(text, begin, length)) begin += length;
    std::size_t end = text.size();
    while (end > begin) {
        std::size_t start = end - 1;
        while (start > begin && (static_cast<unsigned char>(text[start]) & 0xC0) == 0x80) --start;
        if (!whitespaceAt(text, start, length) || start + length != end) break;
        end = start;
    }
    return std::string(text.substr(begin, end - begin));
}

}  // namespace pellix
