#include "InProcessCommands.h"

#include "Cli.h"

namespace pellix::test {

int InProcessCommands::run(const std::vector<std::string>& arguments) {
    out.str("");
    err.str("");
    return runCommandLine(arguments, sandbox.platform(), {out, err, false});
}

nlohmann::json InProcessCommands::runJson(std::vector<std::string> arguments) {
    arguments.push_back("--json");
    exitStatus = run(arguments);
    return nlohmann::json::parse(out.str());
}

}  // namespace pellix::test
