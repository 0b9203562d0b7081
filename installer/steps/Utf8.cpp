#include "Utf8.h"

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

}  // namespace

bool isValidUtf8(std::string_view bytes) {
    std::size_t at = 0;
    while (at < bytes.size()) {
        const auto lead = static_cast<unsigned char>(bytes[at]);
        if (lead < 0x80) {
            ++at;
            continue;
        }
        const std::optional<Utf8Rule> rule = ruleFor(lead);
        if (!rule || bytes.size() - at < rule->length) return false;
        const auto second = static_cast<unsigned char>(bytes[at + 1]);
        if (second < rule->secondLow || second > rule->secondHigh) return false;
        for (std::size_t i = 2; i < rule->length; ++i) {
            const auto next = static_cast<unsigned char>(bytes[at + i]);
            if (next < 0x80 || next > 0xBF) return false;
        }
        at += rule->length;
    }
    return true;
}

}  // namespace pellix
