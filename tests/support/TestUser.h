#pragma once
// A real user account for one test, made with useradd and removed with userdel (its processes
// stopped first). Needs root and the shadow tools; otherwise available() is false and
// unavailableReason() says why.

#include <sys/types.h>

#include <string>

namespace pellix::test {

class TestUser {
public:
    // A new user "pxt<random>" whose home is `home` (made, empty, theirs).
    explicit TestUser(const std::string& home);
    TestUser(const TestUser&) = delete;
    TestUser& operator=(const TestUser&) = delete;
    ~TestUser();

    bool available() const { return uid_ != 0; }
    const std::string& unavailableReason() const { return reason_; }
    const std::string& name() const { return name_; }
    uid_t uid() const { return uid_; }
    gid_t gid() const { return gid_; }
    const std::string& home() const { return home_; }

    // Hands everything below `path` (and `path` itself) to the user.
    void own(const std::string& path) const;

private:
    std::string name_;
    std::string home_;
    std::string reason_;
    uid_t uid_ = 0;
    gid_t gid_ = 0;
};

// Lets every user pass through `path` and each folder above it (x for others), as a user's
// home under a test's private temporary folder needs.
void openPathTo(const std::string& path);

}  // namespace pellix::test
