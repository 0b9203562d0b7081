#include "jobs/PropertyLists.h"

#include <initializer_list>

#include "Platform.h"

namespace pellix {

namespace {

constexpr std::string_view kHeader[] = {
    R"(<?xml version="1.0" encoding="UTF-8"?>)",
    R"(<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">)",
    R"(<plist version="1.0">)",
    "<dict>",
};

// Values go in unescaped: a path holding "&" or "<" gives a file launchd rejects, and that is
// accepted rather than rewriting the user's path.
std::string joinLines(std::initializer_list<std::string> body) {
    std::string text;
    for (std::string_view line : kHeader) text.append(line).append("\n");
    for (const std::string& line : body) {
        if (&line != body.begin()) text.append("\n");
        text.append(line);
    }
    return text;
}

// Four blanks per nesting level, never tabs.
std::string stringLine(int depth, std::string_view value) {
    return std::string(static_cast<std::size_t>(4 * depth), ' ') + "<string>" + std::string(value) +
           "</string>";
}

}  // namespace

std::string launchAgentsFolder(const std::string& home) {
    return home + "/Library/LaunchAgents";
}

std::string servicePropertyList(const std::string& pellixDir, const std::string& python,
                                const std::string& home, const std::string& openclawHome) {
    return joinLines({
        "    <key>Label</key>",
        stringLine(1, serviceJobLabel()),
        "    <key>ProgramArguments</key>",
        "    <array>",
        stringLine(2, python),
        stringLine(2, pellixDir + "/scripts/pellix-service.py"),
        "    </array>",
        "    <key>RunAtLoad</key>",
        "    <true/>",
        "    <key>KeepAlive</key>",
        "    <true/>",
        "    <key>StandardOutPath</key>",
        stringLine(1, pellixDir + "/ops/pellix-service-stdout.log"),
        "    <key>StandardErrorPath</key>",
        stringLine(1, pellixDir + "/ops/pellix-service-stderr.log"),
        "    <key>EnvironmentVariables</key>",
        "    <dict>",
        "        <key>PATH</key>",
        stringLine(2, kChildPath),
        "        <key>HOME</key>",
        stringLine(2, home),
        "        <key>OPENCLAW_HOME</key>",
        stringLine(2, openclawHome),
        "    </dict>",
        "</dict>",
        "</plist>",
    });
}

std::string scannerPropertyList(const ScannerJob& job, const std::string& interpreter,
                                const std::string& pellixDir, const std::string& home) {
    return joinLines({
        "    <key>Label</key>",
        stringLine(1, jobLabel(job.labelSuffix)),
        "    <key>ProgramArguments</key>",
        "    <array>",
        stringLine(2, interpreter),
        stringLine(2, pellixDir + std::string(job.script)),
        "    </array>",
        "    <key>StartInterval</key>",
        "    <integer>" + std::to_string(job.intervalSeconds) + "</integer>",
        "    <key>RunAtLoad</key>",
        "    <true/>",
        "    <key>StandardOutPath</key>",
        stringLine(1, pellixDir + std::string(job.standardOut)),
        "    <key>StandardErrorPath</key>",
        stringLine(1, pellixDir + std::string(job.standardError)),
        "    <key>EnvironmentVariables</key>",
        "    <dict>",
        "        <key>PATH</key>",
        stringLine(2, kChildPath),
        "        <key>HOME</key>",
        stringLine(2, home),
        "    </dict>",
        "</dict>",
        "</plist>",
    });
}

}  // namespace pellix
