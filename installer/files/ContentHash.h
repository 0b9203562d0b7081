#pragma once
// A 128-bit digest (XXH3) that tells whether two versions of a file hold the same bytes without
// keeping both: what the installer last wrote, and whether a file changed while it was edited.
// Safe on any thread.

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace pellix {

struct ContentHash {
    std::uint64_t low = 0;
    std::uint64_t high = 0;
    std::uint64_t size = 0;  // the length of the bytes hashed
    friend bool operator==(const ContentHash&, const ContentHash&) = default;

    // "<size> <32 hex digits>", and back; nothing for any other text.
    std::string text() const;
    // The 32 hex digits alone.
    std::string hex() const;
    static std::optional<ContentHash> fromText(std::string_view text);
};

ContentHash hashBytes(std::string_view bytes);

// The file's digest, read in chunks; nothing when it cannot be read.
std::optional<ContentHash> hashFile(const std::string& path);

}  // namespace pellix
