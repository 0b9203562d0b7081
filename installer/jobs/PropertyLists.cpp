#include "jobs/PropertyLists.h"

#include <vector>

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
std::string joinLines(const std::vector<std::string>& body) {
    std::string text;
    for (std::string_view line : kHeader) text.append(line).append("\n");
    for (std::size_t i = 0; i < body.size(); ++i) {
        if (i > 0) text.append("\n");
        text.append(body[i]);
    }
    return text;
}

// Four blanks per nesting level, never tabs.
std::string indented(int depth, std::string_view line) {
    return std::string(static_cast<std::size_t>(4 * depth), ' ') + std::string(line);
}

std::string stringLine(int depth, std::string_view value) {
    return indented(depth, "<string>" + std::string(value) + "</string>");
}

// How launchd keeps the job going: the service forever, a scanner every interval. Either runs
// once when loaded; the order of the keys is the one each file has always had.
std::vector<std::string> scheduleLines(const AgentJob& job) {
    if (job.alwaysOn()) {
        return {indented(1, "<key>RunAtLoad</key>"), indented(1, "<true/>"),
                indented(1, "<key>KeepAlive</key>"), indented(1, "<true/>")};
    }
    return {indented(1, "<key>StartInterval</key>"),
            indented(1, "<integer>" + std::to_string(job.intervalSeconds) + "</integer>"),
            indented(1, "<key>RunAtLoad</key>"), indented(1, "<true/>")};
}

std::vector<std::string> environmentLines(const AgentJob& job, const JobValues& values) {
    std::vector<std::string> lines = {
        indented(1, "<key>EnvironmentVariables</key>"),
        indented(1, "<dict>"),
        indented(2, "<key>PATH</key>"),
        stringLine(2, kChildPath),
        indented(2, "<key>HOME</key>"),
        stringLine(2, values.home),
    };
    if (job.seesOpenClawHome) {
        lines.push_back(indented(2, "<key>OPENCLAW_HOME</key>"));
        lines.push_back(stringLine(2, values.openclawHome));
    }
    lines.push_back(indented(1, "</dict>"));
    return lines;
}

void append(std::vector<std::string>& lines, const std::vector<std::string>& more) {
    lines.insert(lines.end(), more.begin(), more.end());
}

}  // namespace

std::string launchAgentsFolder(const std::string& home) {
    return home + "/Library/LaunchAgents";
}

std::string propertyList(const AgentJob& job, const JobValues& values) {
    std::vector<std::string> body = {
        indented(1, "<key>Label</key>"),
        stringLine(1, jobLabel(job.labelSuffix)),
        indented(1, "<key>ProgramArguments</key>"),
        indented(1, "<array>"),
        stringLine(2, values.interpreter),
        stringLine(2, values.pellixDir + std::string(job.script)),
        indented(1, "</array>"),
    };
    append(body, scheduleLines(job));
    append(body, {indented(1, "<key>StandardOutPath</key>"),
                  stringLine(1, values.pellixDir + std::string(job.standardOut)),
                  indented(1, "<key>StandardErrorPath</key>"),
                  stringLine(1, values.pellixDir + std::string(job.standardError))});
    append(body, environmentLines(job, values));
    append(body, {"</dict>", "</plist>"});
    return joinLines(body);
}

}  // namespace pellix
