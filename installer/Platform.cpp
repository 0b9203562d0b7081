#include "Platform.h"

#include <pwd.h>
#include <unistd.h>

#include <cstdlib>
#include <string_view>
#include <vector>

#if defined(__APPLE__)
#include <mach-o/dyld.h>
#endif

namespace pellix {

namespace {

std::string executablePath() {
#if defined(__APPLE__)
    std::uint32_t size = 0;
    _NSGetExecutablePath(nullptr, &size);
    std::vector<char> buffer(size + 1, '\0');
    if (_NSGetExecutablePath(buffer.data(), &size) != 0) return {};
    char resolved[PATH_MAX];
    return realpath(buffer.data(), resolved) ? std::string(resolved) : std::string(buffer.data());
#else
    std::vector<char> buffer(4096);
    const ssize_t length = readlink("/proc/self/exe", buffer.data(), buffer.size() - 1);
    return length > 0 ? std::string(buffer.data(), static_cast<std::size_t>(length))
                      : std::string();
#endif
}

bool endsWith(std::string_view text, std::string_view suffix) {
    return text.size() >= suffix.size() && text.substr(text.size() - suffix.size()) == suffix;
}

}  // namespace

std::optional<std::string> processEnvironment(const std::string& name) {
    const char* value = std::getenv(name.c_str());
    if (value == nullptr) return std::nullopt;
    return std::string(value);
}

std::string userHomeDirectory() {
    if (const char* home = std::getenv("HOME"); home != nullptr && *home != '\0') return home;
    if (const passwd* entry = getpwuid(getuid()); entry != nullptr && entry->pw_dir != nullptr) {
        return entry->pw_dir;
    }
    return {};
}

std::string currentUserName() {
    if (const passwd* entry = getpwuid(geteuid()); entry != nullptr && entry->pw_name != nullptr) {
        return entry->pw_name;
    }
    return "$USER";
}

std::string applicationResourceDirectory() {
    const std::string executable = executablePath();
    const auto slash = executable.rfind('/');
    if (slash == std::string::npos) return {};
    const std::string folder = executable.substr(0, slash);
    if (endsWith(folder, ".app/Contents/MacOS")) {
        return folder.substr(0, folder.size() - std::string_view("MacOS").size()) + "Resources";
    }
    return folder + "/../share/pellix-installer";
}

}  // namespace pellix
