#include "process/ActAsUser.h"

#include <grp.h>
#include <pwd.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string_view>
#include <vector>

namespace pellix {

namespace {

struct Account {
    std::string name;
    uid_t uid = 0;
    gid_t gid = 0;
    std::string home;
    std::string shell;
};

std::optional<Account> lookUp(const std::string& name) {
    std::vector<char> buffer(16384);
    passwd entry{};
    passwd* found = nullptr;
    while (::getpwnam_r(name.c_str(), &entry, buffer.data(), buffer.size(), &found) == ERANGE) {
        buffer.resize(buffer.size() * 2);
    }
    if (found == nullptr) return std::nullopt;
    return Account{found->pw_name, found->pw_uid, found->pw_gid,
                   found->pw_dir != nullptr ? found->pw_dir : "",
                   found->pw_shell != nullptr ? found->pw_shell : ""};
}

ActAsUserFailure failure(ActAsUserFailure::Kind kind, std::string message) {
    return {kind, std::move(message)};
}

std::string systemError(const char* call) {
    return std::string(call) + ": " + std::strerror(errno);
}

// Supplementary groups first (only root may set them), then the group, then the user: each of
// real, effective and saved, so that none of them is left as root.
std::optional<std::string> dropTo(const Account& account) {
#if defined(__APPLE__)
    if (::initgroups(account.name.c_str(), static_cast<int>(account.gid)) != 0) {
        return systemError("initgroups");
    }
    if (::setgid(account.gid) != 0) return systemError("setgid");
    if (::setuid(account.uid) != 0) return systemError("setuid");
#else
    if (::initgroups(account.name.c_str(), account.gid) != 0) return systemError("initgroups");
    if (::setresgid(account.gid, account.gid, account.gid) != 0) return systemError("setresgid");
    if (::setresuid(account.uid, account.uid, account.uid) != 0) return systemError("setresuid");
#endif
    return std::nullopt;
}

// The drop holds: every id is the user's, no group is root's, and root cannot be taken back.
bool rootIsGone(const Account& account) {
    if (::getuid() != account.uid || ::geteuid() != account.uid || ::getgid() != account.gid ||
        ::getegid() != account.gid) {
        return false;
    }
    if (::setuid(0) == 0 || ::seteuid(0) == 0 || ::setgid(0) == 0 || ::setegid(0) == 0) {
        return false;
    }
    const int count = ::getgroups(0, nullptr);
    if (count < 0) return false;
    std::vector<gid_t> groups(static_cast<std::size_t>(count));
    if (::getgroups(count, groups.data()) != count) return false;
    for (const gid_t group : groups) {
        if (group == 0 && account.gid != 0) return false;
    }
    return true;
}

void setVariable(const char* name, const std::string& value) {
    ::setenv(name, value.c_str(), 1);
}

// The environment root's caller had, made the user's: who they are, where they live, their own
// service manager. Root's own XDG folders and session bus are never the user's.
void becomeUsersEnvironment(const Account& account) {
    setVariable("HOME", account.home);
    setVariable("USER", account.name);
    setVariable("LOGNAME", account.name);
    if (!account.shell.empty()) setVariable("SHELL", account.shell);
    for (const char* rootOnly : {"XDG_CONFIG_HOME", "XDG_DATA_HOME", "XDG_STATE_HOME",
                                 "XDG_CACHE_HOME", "XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS",
                                 "MAIL", "SUDO_USER", "SUDO_UID", "SUDO_GID", "SUDO_COMMAND"}) {
        ::unsetenv(rootOnly);
    }
    // An OPENCLAW_HOME given as ~/... is the user's ~, not root's.
    if (const char* given = std::getenv("OPENCLAW_HOME"); given != nullptr) {
        const std::string_view value(given);
        if (value == "~" || value.starts_with("~/")) {
            setVariable("OPENCLAW_HOME", account.home + std::string(value.substr(1)));
        }
    }
#if !defined(__APPLE__)
    const std::string runtime = "/run/user/" + std::to_string(account.uid);
    setVariable("XDG_RUNTIME_DIR", runtime);
    if (::access((runtime + "/bus").c_str(), F_OK) == 0) {
        setVariable("DBUS_SESSION_BUS_ADDRESS", "unix:path=" + runtime + "/bus");
    }
#endif
    // Root's working folder may be closed to the user; every path used is absolute.
    if (::chdir(account.home.c_str()) != 0) {
        [[maybe_unused]] const int ignored = ::chdir("/");
    }
}

}  // namespace

std::optional<ActAsUserFailure> actAsUser(const std::string& name) {
    using Kind = ActAsUserFailure::Kind;
    if (::geteuid() != 0) {
        return failure(Kind::notRoot, "--user " + name +
                                          " needs root: only root may act for another user "
                                          "(leave --user out to act as yourself)");
    }
    const std::optional<Account> account = lookUp(name);
    if (!account) {
        return failure(Kind::unknownUser,
                       "--user: there is no user '" + name + "' in the password database");
    }
    if (account->uid == 0) {
        return failure(Kind::rootUser, "--user " + name +
                                           " is root itself: give the user to act for, or "
                                           "leave --user out");
    }
    if (const std::optional<std::string> error = dropTo(*account)) {
        return failure(Kind::notDropped,
                       "could not become " + name + " (" + *error + "); nothing was changed");
    }
    if (!rootIsGone(*account)) {
        return failure(Kind::notDropped, "root could still be regained after becoming " + name +
                                             "; stopped before changing anything");
    }
    becomeUsersEnvironment(*account);
    return std::nullopt;
}

}  // namespace pellix
