#include "CommandLine.h"

#include <algorithm>
#include <iterator>
#include <string_view>

namespace pellix {

namespace {

struct NamedCommand {
    std::string_view name;
    Command command;
};
constexpr NamedCommand kCommands[] = {{"install", Command::install},
                                      {"status", Command::status},
                                      {"configure", Command::configure},
                                      {"uninstall", Command::uninstall},
                                      {"restore-config", Command::restoreConfig}};

// A word of one of the choice tables; `isChoice` says which words, `words` names them all.
std::optional<std::string> takeChoice(const std::string& option,
                                      const std::optional<std::string>& value,
                                      bool (*isChoice)(std::string_view), const std::string& words,
                                      std::string& target) {
    if (!value) return option + " needs a value: " + words;
    if (!isChoice(*value)) return option + " accepts " + words + " (got '" + *value + "')";
    target = *value;
    return std::nullopt;
}

// One option of `options.command` at arguments[i]; advances i past a separate value. Accepts
// both "--scan daily" and "--scan=daily". Returns the usage error's message, if any.
std::optional<std::string> takeOption(const std::vector<std::string>& arguments, std::size_t& i,
                                      CommandOptions& options) {
    std::string name = arguments[i];
    std::optional<std::string> inlineValue;
    if (const auto equals = name.find('='); name.starts_with("--") && equals != std::string::npos) {
        inlineValue = name.substr(equals + 1);
        name = name.substr(0, equals);
    }
    const auto value = [&]() -> std::optional<std::string> {
        if (inlineValue) return inlineValue;
        if (i + 1 < arguments.size()) return arguments[++i];
        return std::nullopt;
    };
    const bool installing = options.command == Command::install;
    const bool choosing = installing || options.command == Command::configure;
    if ((name == "--help" || name == "-h") && !inlineValue) {
        options.help = true;
    } else if (name == "--json" && !inlineValue) {
        options.json = true;
    } else if (name == "--dry-run" && !inlineValue && options.command != Command::status) {
        options.dryRun = true;
    } else if (name == "--purge" && !inlineValue && options.command == Command::uninstall) {
        options.purge = true;
    } else if (name == "--user") {
        options.user = value();
        if (!options.user || options.user->empty()) return std::string("--user needs a user name");
    } else if (name == "--headless" && !inlineValue && installing) {
        // `install --headless` says the same thing twice; harmless.
    } else if (name == "--scan" && choosing) {
        options.scanGiven = true;
        return takeChoice(name, value(), isScanPreset, scanPresetWords(), options.scanPreset);
    } else if (name == "--model" && choosing) {
        options.modelGiven = true;
        return takeChoice(name, value(), isModel, modelWords(), options.modelChoice);
    } else if (!arguments[i].starts_with("-")) {
        return "unexpected argument '" + arguments[i] + "'";
    } else {
        return "unknown option '" + arguments[i] + "'";
    }
    return std::nullopt;
}

std::variant<CommandOptions, UsageError> parseCommand(Command command,
                                                      const std::vector<std::string>& arguments,
                                                      std::size_t first) {
    CommandOptions options;
    options.command = command;
    for (std::size_t i = first; i < arguments.size(); ++i) {
        if (auto message = takeOption(arguments, i, options)) {
            return UsageError{command, std::move(*message)};
        }
    }
    return options;
}

// The form that predates the commands: `--headless` anywhere makes the whole line an install,
// with --help and --version still answered first as they always were.
std::variant<CommandOptions, UsageError> parseHeadless(const std::vector<std::string>& arguments) {
    const auto has = [&](std::string_view word) {
        return std::find(arguments.begin(), arguments.end(), word) != arguments.end();
    };
    std::vector<std::string> rest;
    for (const std::string& argument : arguments) {
        if (argument != "--version") rest.push_back(argument);
    }
    auto parsed = parseCommand(Command::install, rest, 0);
    if (auto* options = std::get_if<CommandOptions>(&parsed)) {
        if (options->help) return CommandOptions{.command = Command::help};
        if (has("--version")) return CommandOptions{.command = Command::version};
    } else {
        std::get<UsageError>(parsed).command = Command::help;
    }
    return parsed;
}

std::variant<CommandOptions, UsageError> parseWithoutUser(
    const std::vector<std::string>& arguments);

// `--user NAME` before the command: taken off, then the rest parsed as usual. Only a command acts
// for a user; the window, the help and the version never do.
std::variant<CommandOptions, UsageError> parseForUser(std::vector<std::string> arguments) {
    std::optional<std::string> user;
    while (!arguments.empty() &&
           (arguments.front() == "--user" || arguments.front().starts_with("--user="))) {
        if (arguments.front() == "--user") {
            if (arguments.size() < 2 || arguments[1].empty()) {
                return UsageError{Command::help, "--user needs a user name"};
            }
            user = arguments[1];
            arguments.erase(arguments.begin(), arguments.begin() + 2);
        } else {
            user = arguments.front().substr(std::string_view("--user=").size());
            if (user->empty()) return UsageError{Command::help, "--user needs a user name"};
            arguments.erase(arguments.begin());
        }
    }
    auto parsed = parseWithoutUser(arguments);
    auto* options = std::get_if<CommandOptions>(&parsed);
    if (options == nullptr) return parsed;
    if (user) options->user = user;
    const bool command = options->command != Command::window && options->command != Command::help &&
                         options->command != Command::version;
    if (options->user && !command) {
        return UsageError{Command::help,
                          "--user goes with a command (install, status, configure, uninstall or "
                          "restore-config): the window always runs as the user who opens it"};
    }
    return parsed;
}

std::variant<CommandOptions, UsageError> parseWithoutUser(
    const std::vector<std::string>& arguments) {
    if (arguments.empty()) return CommandOptions{};
    // Older macOS hands an app started from the Finder a process serial number; still the window.
    if (arguments.size() == 1 && arguments.front().starts_with("-psn_")) return CommandOptions{};
    for (const NamedCommand& named : kCommands) {
        if (arguments.front() == named.name) return parseCommand(named.command, arguments, 1);
    }
    if (std::find(arguments.begin(), arguments.end(), "--headless") != arguments.end()) {
        return parseHeadless(arguments);
    }
    const std::string& first = arguments.front();
    if ((first == "--help" || first == "-h") && arguments.size() == 1) {
        return CommandOptions{.command = Command::help};
    }
    if (first == "--version" && arguments.size() == 1) {
        return CommandOptions{.command = Command::version};
    }
    const std::string& offending =
        (first == "--help" || first == "-h" || first == "--version") ? arguments[1] : first;
    if (offending.starts_with("-"))
        return UsageError{Command::help, "unknown option '" + offending + "'"};
    return UsageError{Command::help, "unknown command '" + offending + "'"};
}

}  // namespace

std::variant<CommandOptions, UsageError> parseCommandLine(
    const std::vector<std::string>& arguments) {
    return parseForUser(arguments);
}

std::string commandName(Command command) {
    for (const NamedCommand& named : kCommands) {
        if (named.command == command) return std::string(named.name);
    }
    return "";
}

}  // namespace pellix
