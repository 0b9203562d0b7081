#include "HeadlessInstall.h"

#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <string_view>
#include <variant>

#include "InstallerViewModel.h"

#ifndef PELLIX_VERSION
#define PELLIX_VERSION "0.0.0"
#endif

namespace pellix {

namespace {

constexpr std::string_view kScanPresets[] = {"vigilant", "standard", "relaxed", "daily"};
constexpr std::string_view kModels[] = {"haiku", "sonnet", "opus"};

constexpr const char* kUsage =
    "Usage: pellix-installer [--headless [--scan PRESET] [--model MODEL] [--json]]\n"
    "\n"
    "Adds the Pellix agent to the OpenClaw installation in $OPENCLAW_HOME (else ~/.openclaw).\n"
    "Without options it opens the installer window.\n"
    "\n"
    "  --headless       install from the terminal, without a window or a display\n"
    "  --scan PRESET    scan frequency: vigilant, standard, relaxed or daily (default standard)\n"
    "  --model MODEL    AI model: haiku, sonnet or opus (default sonnet)\n"
    "  --json           print only one JSON summary on standard output when done\n"
    "  -h, --help       show this help and exit\n"
    "  --version        show the version and exit\n"
    "\n"
    "Exit status: 0 installed (warnings included), 1 installation failed, 2 usage error.\n";

struct Options {
    std::string scanPreset = "standard";
    std::string modelChoice = "sonnet";
    bool json = false;
    bool help = false;
    bool version = false;
};

struct UsageError {
    std::string message;
};

template <std::size_t N>
std::string joinChoices(const std::string_view (&choices)[N]) {
    std::string text;
    for (std::size_t i = 0; i < N; ++i) {
        if (i > 0) text += (i + 1 == N) ? " or " : ", ";
        text += choices[i];
    }
    return text;
}

template <std::size_t N>
std::optional<UsageError> takeChoice(const std::string& option,
                                     const std::optional<std::string>& value,
                                     const std::string_view (&choices)[N], std::string& target) {
    if (!value) return UsageError{option + " needs a value: " + joinChoices(choices)};
    if (std::find(std::begin(choices), std::end(choices), *value) == std::end(choices)) {
        return UsageError{option + " accepts " + joinChoices(choices) + " (got '" + *value + "')"};
    }
    target = *value;
    return std::nullopt;
}

// Accepts both "--scan daily" and "--scan=daily".
std::variant<Options, UsageError> parseOptions(const std::vector<std::string>& arguments) {
    Options options;
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        std::string name = arguments[i];
        std::optional<std::string> inlineValue;
        if (const auto equals = name.find('=');
            name.starts_with("--") && equals != std::string::npos) {
            inlineValue = name.substr(equals + 1);
            name = name.substr(0, equals);
        }
        const auto value = [&]() -> std::optional<std::string> {
            if (inlineValue) return inlineValue;
            if (i + 1 < arguments.size()) return arguments[++i];
            return std::nullopt;
        };
        std::optional<UsageError> error;
        if (name == "--headless" && !inlineValue) continue;
        if (name == "--json" && !inlineValue) {
            options.json = true;
        } else if ((name == "--help" || name == "-h") && !inlineValue) {
            options.help = true;
        } else if (name == "--version" && !inlineValue) {
            options.version = true;
        } else if (name == "--scan") {
            error = takeChoice(name, value(), kScanPresets, options.scanPreset);
        } else if (name == "--model") {
            error = takeChoice(name, value(), kModels, options.modelChoice);
        } else {
            error = UsageError{"unknown option '" + arguments[i] + "'"};
        }
        if (error) return *error;
    }
    return options;
}

class ProgressPrinter {
public:
    explicit ProgressPrinter(bool colour) : colour_(colour) {}

    // Prints each row once it has a result, and again only if that result changes.
    void print(const std::vector<InstallStep>& steps) {
        for (std::size_t i = 0; i < steps.size(); ++i) {
            const InstallStep& step = steps[i];
            if (step.status == StepStatus::pending || step.status == StepStatus::running) continue;
            const auto shown = printed_.find(step.id);
            if (shown != printed_.end() && shown->second == step.status) continue;
            printed_[step.id] = step.status;
            std::cout << "  " << mark(step.status) << ' ' << step.label;
            if (!step.detail.empty()) std::cout << " — " << step.detail;
            std::cout << '\n' << std::flush;
        }
    }

private:
    std::string mark(StepStatus status) const {
        const auto paint = [this](const char* code, const char* text) {
            return colour_ ? std::string("\033[") + code + "m" + text + "\033[0m"
                           : std::string(text);
        };
        switch (status) {
            case StepStatus::success:
                return paint("32", "✓");
            case StepStatus::warning:
                return paint("33", "!");
            case StepStatus::failed:
                return paint("31", "✗");
            default:
                return " ";
        }
    }

    bool colour_;
    std::map<std::string, StepStatus> printed_;
};

nlohmann::ordered_json summary(const InstallerViewModel& model) {
    nlohmann::ordered_json steps = nlohmann::ordered_json::array();
    for (const InstallStep& step : model.steps()) {
        steps.push_back({{"label", step.label},
                         {"status", std::string(toString(step.status))},
                         {"detail", step.detail}});
    }
    return {{"phase", std::string(toString(model.phase()))},
            {"progress", model.progress()},
            {"errorMessage", model.errorMessage()},
            {"scanPreset", model.scanPreset()},
            {"modelChoice", model.modelChoice()},
            {"steps", std::move(steps)}};
}

// The window's complete screen, in a line: what to do next, and whether some rows need a look.
void printClosing(const std::vector<InstallStep>& steps) {
    const auto needsALook = std::count_if(steps.begin(), steps.end(), [](const InstallStep& step) {
        return step.status == StepStatus::warning || step.status == StepStatus::failed;
    });
    if (needsALook == 0) {
        std::cout << "Pellix is watching.";
    } else {
        std::cout << "Pellix is installed; " << needsALook
                  << (needsALook == 1 ? " step needs" : " steps need") << " a look (see above).";
    }
    std::cout << " Next: register your agents in agents/pellix-unified/ops/agent-watch-list.md\n";
}

int install(const Options& options) {
    Platform platform;
    platform.notice = [](const std::string& line) { std::cerr << line << '\n' << std::flush; };
    InstallerViewModel model(std::move(platform));
    model.setScanPreset(options.scanPreset);
    model.setModelChoice(options.modelChoice);

    const bool colour = ::isatty(STDOUT_FILENO) == 1 && std::getenv("NO_COLOR") == nullptr;
    ProgressPrinter printer(colour);
    if (!options.json) {
        std::cout << "Installing Pellix (scan: " << options.scanPreset
                  << ", model: " << options.modelChoice << ")\n";
        model.addDidChangeObserver([&](Property property) {
            if (property == Property::steps) printer.print(model.steps());
        });
    }

    model.startInstall();  // the default executor runs every job inline: this returns at the end

    const bool installed = model.phase() == InstallerPhase::complete;
    if (options.json) {
        std::cout << summary(model).dump(2, ' ', false, nlohmann::json::error_handler_t::replace)
                  << '\n';
    } else if (installed) {
        printClosing(model.steps());
    }
    if (!installed) std::cerr << "Installation failed: " << model.errorMessage() << '\n';
    return installed ? 0 : 1;
}

}  // namespace

bool wantsHeadless(const std::vector<std::string>& arguments) {
    return std::any_of(arguments.begin(), arguments.end(), [](const std::string& argument) {
        return argument == "--headless" || argument == "--help" || argument == "-h" ||
               argument == "--version";
    });
}

int runHeadless(const std::vector<std::string>& arguments) {
    const auto parsed = parseOptions(arguments);
    if (const auto* error = std::get_if<UsageError>(&parsed)) {
        std::cerr << "pellix-installer: " << error->message << "\n"
                  << "Try 'pellix-installer --help' for more information.\n";
        return 2;
    }
    const Options& options = std::get<Options>(parsed);
    if (options.help) {
        std::cout << kUsage;
        return 0;
    }
    if (options.version) {
        std::cout << "pellix-installer " << PELLIX_VERSION << '\n';
        return 0;
    }
    return install(options);
}

}  // namespace pellix
