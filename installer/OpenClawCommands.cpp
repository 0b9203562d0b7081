#include "OpenClawCommands.h"

#include <rapidjson/document.h>

#include <algorithm>
#include <atomic>
#include <cctype>
#include <filesystem>
#include <memory>
#include <sstream>

#include "config/JsonMembers.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

std::string lowerCase(std::string text) {
    std::transform(text.begin(), text.end(), text.begin(),
                   [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return text;
}

// A host without the command (or without openclaw at all) cannot judge: that is no verdict.
bool hostHasNoValidator(const ShellResult& result) {
    const std::string lower = lowerCase(result.output);
    return result.status == 127 || result.status == -1 ||
           lower.find("command not found") != std::string::npos ||
           lower.find("unknown command") != std::string::npos ||
           lower.find("unknown option") != std::string::npos;
}

std::string textOf(const JsonValue* value) {
    return value != nullptr && value->IsString()
               ? std::string(value->GetString(), value->GetStringLength())
               : std::string();
}

// "path: message" of the first issue; the message alone where the path is the whole file.
std::optional<std::string> firstIssue(const JsonValue& answer) {
    const JsonValue* issues = member(answer, "issues");
    if (issues == nullptr || !issues->IsArray() || issues->Empty()) return std::nullopt;
    const std::string path = textOf(member((*issues)[0], "path"));
    const std::string message = textOf(member((*issues)[0], "message"));
    if (path.empty() || path == "<root>") return message;
    return path + ": " + message;
}

// The JSON object the validator printed (node may print warnings before it), if it did.
std::optional<HostVerdict> judgeJson(const std::string& output) {
    std::istringstream lines(output);
    std::string line;
    std::size_t offset = 0;
    while (std::getline(lines, line)) {
        const std::size_t start = offset;
        offset += line.size() + 1;
        if (!line.starts_with("{")) continue;
        rapidjson::Document answer;
        answer.Parse<rapidjson::kParseStopWhenDoneFlag>(output.c_str() + start,
                                                        output.size() - start);
        const JsonValue* valid = answer.HasParseError() ? nullptr : member(answer, "valid");
        if (valid == nullptr || !valid->IsBool()) continue;
        if (valid->GetBool()) return HostVerdict{HostVerdict::Kind::accepted, ""};
        std::string reason = firstIssue(answer).value_or("");
        if (reason.empty()) reason = textOf(member(answer, "error"));
        if (const JsonValue* error = member(answer, "error"); reason.empty() && error) {
            reason = textOf(member(*error, "message"));
        }
        return HostVerdict{HostVerdict::Kind::rejected, reason};
    }
    return std::nullopt;
}

constexpr std::string_view kCross = "\xC3\x97 ";      // U+00D7 MULTIPLICATION SIGN and a blank
constexpr std::string_view kDash = " \xE2\x80\x94 ";  // U+2014 EM DASH with a blank either side

// One of the host's listed problems without its mark ("× " or "- ") and without the
// "file:line — " that OpenClaw puts before the path where it knows the line; nothing when the
// line is not one.
std::optional<std::string> listedIssue(const std::string& line) {
    std::string issue = firstLine(line);
    if (issue.starts_with(kCross)) {
        issue = issue.substr(kCross.size());
    } else if (issue.starts_with("- ")) {
        issue = issue.substr(2);
    } else {
        return std::nullopt;
    }
    if (const auto dash = issue.find(kDash); dash != std::string::npos) {
        issue = issue.substr(dash + kDash.size());
    }
    return issue;
}

// The reason in the validator's text: its first "  × path: message" line, else its first line.
std::string reasonInText(const std::string& output) {
    std::istringstream lines(output);
    for (std::string line; std::getline(lines, line);) {
        if (firstLine(line).starts_with(kCross)) return listedIssue(line).value_or("");
    }
    return firstLine(output);
}

// A folder of its own for the host's state while it judges, removed afterwards: the host then
// neither reads nor changes the user's.
class ScratchFolder {
public:
    ScratchFolder() {
        std::error_code error;
        std::string pattern = (fs::temp_directory_path(error) / "pellix-openclaw-XXXXXX").string();
        if (::mkdtemp(pattern.data()) != nullptr) path_ = pattern;
    }
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;
    ~ScratchFolder() {
        std::error_code ignored;
        if (!path_.empty()) fs::remove_all(path_, ignored);
    }
    const std::string& path() const { return path_; }

private:
    std::string path_;
};

}  // namespace

std::string firstLine(const std::string& output) {
    const auto begin = output.find_first_not_of(" \t\r\n");
    if (begin == std::string::npos) return "";
    const auto end = output.find_first_of("\r\n", begin);
    return output.substr(begin, end == std::string::npos ? std::string::npos : end - begin);
}

HostVerdict judgeValidation(const ShellResult& result) {
    if (hostHasNoValidator(result)) {
        return {HostVerdict::Kind::notChecked, firstLine(result.output)};
    }
    if (std::optional<HostVerdict> verdict = judgeJson(result.output)) return *verdict;
    if (result.status == 0) return {HostVerdict::Kind::accepted, ""};
    const std::string reason = reasonInText(result.output);
    return {HostVerdict::Kind::rejected,
            reason.empty() ? "exit status " + std::to_string(result.status) : reason};
}

ConfigValidator openclawValidator(const Host& host) {
    auto noValidator = std::make_shared<std::atomic<bool>>(false);
    return [&host, noValidator](const std::string& path) {
        if (*noValidator) return HostVerdict{HostVerdict::Kind::notChecked, "no validator"};
        const ScratchFolder state;
        const HostVerdict verdict =
            judgeValidation(host.runNow("OPENCLAW_CONFIG_PATH=" + shellQuoted(path) +
                                        " OPENCLAW_STATE_DIR=" + shellQuoted(state.path()) +
                                        " openclaw config validate --json"));
        if (verdict.kind == HostVerdict::Kind::notChecked) *noValidator = true;
        return verdict;
    };
}

std::optional<std::string> openclawSchema(const Host& host) {
    const ShellResult schema = host.runNow("openclaw config schema 2>/dev/null");
    if (schema.status != 0 || !firstLine(schema.output).starts_with("{")) return std::nullopt;
    return schema.output;
}

std::string openclawVersion(const Host& host) {
    const ShellResult version = host.runNow("openclaw --version 2>/dev/null");
    const std::string line = firstLine(version.output);
    if (version.status != 0 || !line.starts_with("OpenClaw ")) return "";
    return line.substr(0, line.find(' ', 9));
}

std::optional<std::string> configRefusedLine(const ShellResult& restart) {
    std::istringstream lines(restart.output);
    for (std::string line; std::getline(lines, line);) {
        if (lowerCase(line).find("config is invalid") == std::string::npos) continue;
        // The problems it lists follow: the first is what the user needs to see.
        for (std::string next; std::getline(lines, next);) {
            if (std::optional<std::string> issue = listedIssue(next)) {
                return firstLine(line) + ": " + *issue;
            }
        }
        return firstLine(line);
    }
    if (restart.status == 78) return firstLine(restart.output);
    return std::nullopt;
}

}  // namespace pellix
