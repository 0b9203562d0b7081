#pragma once
// The command line run in this process over a sandboxed home with the fake launchctl and
// openclaw: what it printed on each stream, its exit status and its JSON. Test thread only.

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>
#include <sstream>
#include <string>
#include <vector>

#include "InstallSandbox.h"

namespace pellix::test {

class InProcessCommands : public ::testing::Test {
protected:
    int run(const std::vector<std::string>& arguments);
    // The command with --json; its exit status goes to `exitStatus`.
    nlohmann::json runJson(std::vector<std::string> arguments);
    void install() { ASSERT_EQ(run({"install", "--json"}), 0) << out.str() << err.str(); }

    Sandbox sandbox;
    std::ostringstream out;
    std::ostringstream err;
    int exitStatus = -1;
};

}  // namespace pellix::test
