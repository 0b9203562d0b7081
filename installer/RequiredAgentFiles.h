#pragma once
// The seven files an installed agent tree must hold, relative to pellixDir, in the order they are
// checked: by the install's last step and by the status command. Constant data; any thread.

#include <string_view>

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

}  // namespace pellix
