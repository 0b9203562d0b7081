#include "files/ContentHash.h"

#include <fcntl.h>
#include <unistd.h>
#include <xxhash.h>

#include <cerrno>
#include <charconv>
#include <cstdio>
#include <memory>
#include <vector>

namespace pellix {

namespace {

ContentHash fromDigest(XXH128_hash_t digest, std::uint64_t size) {
    return {digest.low64, digest.high64, size};
}

bool parseHex(std::string_view text, std::uint64_t& value) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value, 16);
    return error == std::errc{} && end == text.data() + text.size();
}

}  // namespace

std::string ContentHash::text() const {
    return std::to_string(size) + " " + hex();
}

std::string ContentHash::hex() const {
    char buffer[40];
    std::snprintf(buffer, sizeof buffer, "%016llx%016llx", static_cast<unsigned long long>(high),
                  static_cast<unsigned long long>(low));
    return buffer;
}

std::optional<ContentHash> ContentHash::fromText(std::string_view text) {
    const auto space = text.find(' ');
    if (space == std::string_view::npos || text.size() != space + 33) return std::nullopt;
    ContentHash hash;
    const std::string_view size = text.substr(0, space);
    const auto [end, error] = std::from_chars(size.data(), size.data() + size.size(), hash.size);
    if (error != std::errc{} || end != size.data() + size.size()) return std::nullopt;
    if (!parseHex(text.substr(space + 1, 16), hash.high) ||
        !parseHex(text.substr(space + 17, 16), hash.low)) {
        return std::nullopt;
    }
    return hash;
}

ContentHash hashBytes(std::string_view bytes) {
    return fromDigest(XXH3_128bits(bytes.data(), bytes.size()), bytes.size());
}

std::optional<ContentHash> hashFile(const std::string& path) {
    const int fd = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (fd < 0) return std::nullopt;
    std::unique_ptr<XXH3_state_t, XXH_errorcode (*)(XXH3_state_t*)> state(XXH3_createState(),
                                                                          XXH3_freeState);
    std::vector<char> buffer(1 << 20);
    std::uint64_t size = 0;
    bool ok = state && XXH3_128bits_reset(state.get()) == XXH_OK;
    while (ok) {
        const ssize_t n = ::read(fd, buffer.data(), buffer.size());
        if (n < 0 && errno == EINTR) continue;
        if (n <= 0) {
            ok = n == 0;
            break;
        }
        XXH3_128bits_update(state.get(), buffer.data(), static_cast<std::size_t>(n));
        size += static_cast<std::uint64_t>(n);
    }
    ::close(fd);
    if (!ok) return std::nullopt;
    return fromDigest(XXH3_128bits_digest(state.get()), size);
}

}  // namespace pellix
