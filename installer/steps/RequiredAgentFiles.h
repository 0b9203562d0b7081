#pragma once
// The seven files an installed agent tree must hold, relative to pellixDir, in the order they are
// checked: by the install's last step and by the status command. Constant data; any thread.

#include <filesystem>
#include <string>
#include <string_view>
#include <system_error>
#include <vector>

namespace pellix {

inline constexpr std::string_view kRequiredAgentFiles[] = {
    "AGENTS.md",
    "SOUL.md",
    "HEARTBEAT.md",
    "README.md",
    "scripts/pellix-service.py",
    "scripts/setup.sh",
    "skills/pellix-core/SKILL.md",
};

// The required files absent from the tree at `pellixDir`, in the order above. Links are followed
// and a directory counts, like the platform's existence test.
inline std::vector<std::string_view> missingAgentFiles(const std::string& pellixDir) {
    std::vector<std::string_view> missing;
    for (std::string_view relative : kRequiredAgentFiles) {
        std::error_code error;
        if (!std::filesystem::exists(pellixDir + "/" + std::string(relative), error)) {
            missing.push_back(relative);
        }
    }
    return missing;
}

}  // namespace pellix
