#pragma once
// Runs a worker where permission bits bind even when the tests run as root, as they do in CI:
// root forks a child that becomes `nobody` for the one call and sends the result back. Call from
// the test's own thread while no other thread runs, since the child inherits only that one.

#include <functional>
#include <optional>
#include <string>

#include "InstallerTypes.h"

namespace pellix::test {

// Empty when a worker run by runUnprivileged can reach into `folder`; otherwise why not, to give
// GTEST_SKIP. Ask after setting the folder's permissions, just before running the worker. A child
// that gives no answer is also recorded as a test failure.
std::optional<std::string> cannotRunUnprivilegedIn(const std::string& folder);

// What `work()` returns when run by a user without root's rights: in this process for an ordinary
// user, otherwise in a forked child that runs nothing else and leaves through _exit, so `work`
// must not assert. A child that gives no answer is a test failure.
StepResult runUnprivileged(const std::function<StepResult()>& work);

}  // namespace pellix::test
