#include "InstallerTypes.h"

#include <array>
#include <cstdio>
#include <random>

namespace pellix {

std::string_view icon(StepStatus status) {
    switch (status) {
        case StepStatus::pending:
            return "circle";
        case StepStatus::running:
            return "circle.dotted";
        case StepStatus::success:
            return "checkmark.circle.fill";
        case StepStatus::warning:
            return "exclamationmark.triangle.fill";
        case StepStatus::failed:
            return "xmark.circle.fill";
    }
    return "circle";
}

NamedColor color(StepStatus status) {
    switch (status) {
        case StepStatus::pending:
            return NamedColor::secondary;
        case StepStatus::running:
            return NamedColor::blue;
        case StepStatus::success:
            return NamedColor::green;
        case StepStatus::warning:
            return NamedColor::orange;
        case StepStatus::failed:
            return NamedColor::red;
    }
    return NamedColor::secondary;
}

std::string_view toString(StepStatus status) {
    switch (status) {
        case StepStatus::pending:
            return "pending";
        case StepStatus::running:
            return "running";
        case StepStatus::success:
            return "success";
        case StepStatus::warning:
            return "warning";
        case StepStatus::failed:
            return "failed";
    }
    return "pending";
}

std::string_view toString(InstallerPhase phase) {
    switch (phase) {
        case InstallerPhase::welcome:
            return "welcome";
        case InstallerPhase::installing:
            return "installing";
        case InstallerPhase::complete:
            return "complete";
        case InstallerPhase::error:
            return "error";
    }
    return "welcome";
}

std::string makeUuid() {
    // One generator per thread, seeded once from the system's entropy source.
    thread_local std::mt19937_64 generator{std::random_device{}()};
    std::array<unsigned char, 16> bytes{};
    for (std::size_t i = 0; i < bytes.size(); i += 8) {
        const std::uint64_t word = generator();
        for (std::size_t b = 0; b < 8; ++b)
            bytes[i + b] = static_cast<unsigned char>(word >> (8 * b));
    }
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0F) | 0x40);  // version 4
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3F) | 0x80);  // RFC 4122 variant
    std::string text;
    text.reserve(36);
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10) text += '-';
        char hex[3];
        std::snprintf(hex, sizeof hex, "%02X", bytes[i]);
        text += hex;
    }
    return text;
}

std::optional<double> applyStepUpdate(std::vector<InstallStep>& rows, int index, StepStatus status,
                                      const std::string& detail) {
    // Negative indexes are refused too: no caller passes one, and a row outside the list is never
    // worth undefined behaviour.
    if (index < 0 || static_cast<std::size_t>(index) >= rows.size()) return std::nullopt;
    InstallStep& row = rows[static_cast<std::size_t>(index)];
    row.status = status;
    if (!detail.empty()) row.detail = detail;
    return static_cast<double>(index + 1) / static_cast<double>(rows.size());
}

}  // namespace pellix
