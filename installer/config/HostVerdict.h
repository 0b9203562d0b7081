#pragma once
// What the host, OpenClaw, says of a configuration file through its own validator: it accepts
// it, rejects it with a reason, or could not be asked (no validator, or it did not answer). The
// config layer is given the validator as a function and runs no command itself.
// Plain data; any thread.

#include <functional>
#include <string>
#include <string_view>

namespace pellix {

struct HostVerdict {
    enum class Kind { accepted, rejected, notChecked };
    Kind kind = Kind::notChecked;
    // Rejected: the host's first reason ("agents: Unrecognized key: \"list\""). Not checked: why.
    std::string reason;

    bool accepted() const { return kind == Kind::accepted; }
    bool rejected() const { return kind == Kind::rejected; }
};

// "valid", "invalid" or "not checked".
inline std::string_view toString(HostVerdict::Kind kind) {
    switch (kind) {
        case HostVerdict::Kind::accepted:
            return "valid";
        case HostVerdict::Kind::rejected:
            return "invalid";
        default:
            return "not checked";
    }
}

// Asks the host about the configuration file at a path. It blocks while the host answers, so it
// is called from a blocking job, on whatever thread runs that.
using ConfigValidator = std::function<HostVerdict(const std::string& path)>;

}  // namespace pellix
