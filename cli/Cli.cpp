#include "Cli.h"

#include "Commands.h"
#include "JsonOutput.h"
#include "OpenClawCommands.h"
#include "files/HomeLock.h"

#ifndef PELLIX_VERSION
#define PELLIX_VERSION "0.0.0"
#endif

namespace pellix {

int runCommandLine(const std::vector<std::string>& arguments, Platform platform,
                   const Console& console) {
    const auto parsed = parseCommandLine(arguments);
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        console.err << usageErrorText(*error);
        return toInt(ExitCode::usage);
    }
    return executeCommand(std::get<CommandOptions>(parsed), std::move(platform), console);
}

int executeCommand(const CommandOptions& options, Platform platform, const Console& console) {
    if (options.help || options.command == Command::help) {
        console.out << helpText(options.command);
        return toInt(ExitCode::done);
    }
    if (options.command == Command::version) {
        console.out << "pellix-installer " << PELLIX_VERSION << '\n';
        return toInt(ExitCode::done);
    }
    std::ostream& err = console.err;
    platform.notice = [&err](const std::string& line) { err << line << '\n' << std::flush; };
    switch (options.command) {
        case Command::install:
            return installCommand(options, std::move(platform), console);
        case Command::status:
            return statusCommand(options, std::move(platform), console);
        case Command::configure:
            return configureCommand(options, std::move(platform), console);
        case Command::uninstall:
            return uninstallCommand(options, std::move(platform), console);
        case Command::restoreConfig:
            return restoreConfigCommand(options, std::move(platform), console);
        default:
            console.err << usageErrorText({Command::help, "no command given"});
            return toInt(ExitCode::usage);
    }
}

int reportBusyHome(const std::string& openclawHome, const CommandOptions& options,
                   const Console& console, std::string_view resultKey) {
    const std::string message = anotherInstallerRunningMessage(openclawHome);
    console.err << message << '\n';
    if (options.json) {
        JsonOutput json;
        json.beginObject();
        json.key(resultKey).boolean(false);
        json.key("changed").boolean(false);
        json.key("error").text(message);
        json.endObject();
        console.out << json.str();
    }
    return toInt(ExitCode::failed);
}

std::optional<std::string> noDisplayMessage(
    const std::function<std::optional<std::string>(const std::string&)>& environment) {
#if defined(__APPLE__)
    (void)environment;
    return std::nullopt;
#else
    const auto isSet = [&](const char* name) {
        const auto value = environment(name);
        return value && !value->empty();
    };
    // An explicit platform (offscreen, vnc, ...) is the user's choice: Qt is trusted with it.
    if (isSet("QT_QPA_PLATFORM") || isSet("DISPLAY") || isSet("WAYLAND_DISPLAY")) {
        return std::nullopt;
    }
    return "pellix-installer: no display to open the installer window on (DISPLAY and "
           "WAYLAND_DISPLAY are not set); to install from the terminal, run: pellix-installer "
           "install";
#endif
}

void writeGatewayRestart(JsonOutput& json, const std::optional<ShellResult>& restart) {
    json.key("gatewayRestart");
    if (!restart) {
        json.null();
        return;
    }
    json.beginObject();
    json.key("status").integer(restart->status);
    json.key("output").text(restart->output);
    json.endObject();
}

std::string gatewayRestartFailedLine(const ShellResult& restart) {
    const std::string said = firstLine(restart.output);
    return "OpenClaw gateway restart failed" + (said.empty() ? "" : " (" + said + ")") +
           "; run 'openclaw gateway restart' yourself";
}

}  // namespace pellix
