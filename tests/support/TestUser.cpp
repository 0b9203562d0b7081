#include "TestUser.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <random>

namespace fs = std::filesystem;

namespace pellix::test {

namespace {

bool runs(const std::string& command) {
    return std::system((command + " >/dev/null 2>&1").c_str()) == 0;
}

}  // namespace

TestUser::TestUser(const std::string& home) : home_(home) {
    if (::geteuid() != 0) {
        reason_ = "only root can make a user account (the test command runs as root in CI)";
        return;
    }
    if (!runs("command -v useradd") || !runs("command -v userdel")) {
        reason_ = "useradd and userdel are not installed (Debian: passwd)";
        return;
    }
    std::random_device random;
    name_ = "pxt" + std::to_string(random() % 100000000);
    openPathTo(fs::path(home).parent_path().string());
    if (!runs("useradd --home-dir '" + home + "' --create-home --shell /bin/sh --user-group '" +
              name_ + "'")) {
        reason_ = "useradd " + name_ + " failed";
        name_.clear();
        return;
    }
    if (const passwd* entry = ::getpwnam(name_.c_str()); entry != nullptr) {
        uid_ = entry->pw_uid;
        gid_ = entry->pw_gid;
    } else {
        reason_ = "useradd made " + name_ + ", but the password database does not have it";
    }
}

TestUser::~TestUser() {
    if (name_.empty()) return;
    runs("pkill -KILL -u '" + name_ + "'");
    runs("userdel '" + name_ + "'");
}

void TestUser::own(const std::string& path) const {
    std::error_code error;
    if (::lchown(path.c_str(), uid_, gid_) != 0) return;
    if (!fs::is_directory(fs::symlink_status(path, error))) return;
    for (fs::recursive_directory_iterator it(path, error), end; !error && it != end;
         it.increment(error)) {
        [[maybe_unused]] const int ignored = ::lchown(it->path().c_str(), uid_, gid_);
    }
}

void openPathTo(const std::string& path) {
    for (fs::path folder = path; !folder.empty() && folder != folder.root_path();
         folder = folder.parent_path()) {
        struct stat info {};
        if (::stat(folder.c_str(), &info) != 0) continue;
        ::chmod(folder.c_str(), (info.st_mode & 07777) | S_IXOTH);
    }
}

}  // namespace pellix::test
