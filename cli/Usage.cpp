// The help texts. The man page and the shell completion are written from these: keep command and
// option names in step with the parser.

#include "CommandLine.h"

namespace pellix {

namespace {

constexpr const char* kProgramHelp =
    "Usage: pellix-installer [COMMAND] [OPTIONS]\n"
    "\n"
    "Adds the Pellix agent to the OpenClaw installation in $OPENCLAW_HOME (else ~/.openclaw),\n"
    "shows how it is doing, and takes it out again. Without a command it opens the installer\n"
    "window.\n"
    "\n"
    "Commands:\n"
    "  install          install from the terminal, without a window or a display\n"
    "  status           show whether the agent is installed and healthy\n"
    "  configure        change the scan frequency or the model of the installed agent\n"
    "  uninstall        stop and remove the agent's jobs, files and openclaw.json entry\n"
    "  restore-config   put openclaw.json back as it was before the installer first changed it\n"
    "\n"
    "Each command takes --json (one JSON object on standard output, nothing else there) and\n"
    "-h, --help; each but status takes --dry-run (print what the command would do, with\n"
    "openclaw.json's exact diff, and change nothing). 'pellix-installer COMMAND --help'\n"
    "shows a command's options.\n"
    "\n"
    "Options:\n"
    "  --user NAME      (root only, with a command) act for the user NAME: root is dropped\n"
    "                   first, then the command runs as that user, in their home, their\n"
    "                   OpenClaw home and their service manager\n"
    "  --headless       the same as 'install' (pellix-installer --headless [install options])\n"
    "  -h, --help       show this help and exit\n"
    "  --version        show the version and exit\n"
    "\n"
    "Exit status:\n"
    "  0  done; for status: installed and healthy\n"
    "  1  failed; for status: installed with problems\n"
    "  2  usage error, or no display for the window\n"
    "  3  status: not installed\n";

// Every command that changes something takes it.
constexpr const char* kDryRunOption =
    "  --dry-run        print what the run would do, step by step, with openclaw.json's\n"
    "                   exact unified diff, and change nothing\n";

// The choices come from their tables, so the help never offers a word the parser refuses.
std::string installHelp() {
    return "Usage: pellix-installer install [--scan PRESET] [--model MODEL] [--dry-run] [--json]\n"
           "\n"
           "Runs the same install as the window, without a window or a display, and prints each\n"
           "checklist row as its result arrives.\n"
           "\n"
           "  --scan PRESET    scan frequency: " +
           scanPresetWords() + " (default " + std::string(kDefaultScanPreset) +
           ")\n"
           "  --model MODEL    AI model: " +
           modelWords() + " (default " + std::string(kDefaultModel) + ")\n" + kDryRunOption +
           "  --json           print only one JSON summary on standard output when done\n"
           "  -h, --help       show this help and exit\n"
           "\n"
           "Exit status: 0 installed (warnings included), 1 installation failed, 2 usage error.\n";
}

std::string configureHelp() {
    return "Usage: pellix-installer configure [--scan PRESET] [--model MODEL] [--dry-run] "
           "[--json]\n"
           "\n"
           "Changes the installed agent's choices in place: its model, heartbeat model and\n"
           "heartbeat interval in openclaw.json (every other setting stays as it was), the\n"
           "receipt, and restarts the OpenClaw gateway when the file changed. A choice left out\n"
           "keeps the one in effect; when nothing differs, nothing is written.\n"
           "\n"
           "  --scan PRESET    scan frequency: " +
           scanPresetWords() +
           "\n"
           "  --model MODEL    AI model: " +
           modelWords() + "\n" + kDryRunOption +
           "  --json           print only one JSON object on standard output\n"
           "  -h, --help       show this help and exit\n"
           "\n"
           "Exit status: 0 changed (or nothing to change), 1 failed (nothing written), 2 usage\n"
           "error, 3 not installed.\n";
}

constexpr const char* kStatusHelp =
    "Usage: pellix-installer status [--json]\n"
    "\n"
    "Shows where the agent is installed, which of its required files are missing, its entry in\n"
    "openclaw.json and the main agent's allowAgents, the always-on service and the three\n"
    "scanners, the backup of openclaw.json, and what 'openclaw config validate' says of the\n"
    "file (\"not checked\" where OpenClaw has no such command).\n"
    "\n"
    "  --json           print only one JSON object on standard output\n"
    "  -h, --help       show this help and exit\n"
    "\n"
    "Exit status: 0 installed and healthy, 1 installed with problems (each one named),\n"
    "2 usage error, 3 not installed.\n";

constexpr const char* kUninstallIntro =
    "Usage: pellix-installer uninstall [--purge] [--dry-run] [--json]\n"
    "\n"
    "Stops and removes the agent's four background jobs, removes its files from the workspace,\n"
    "takes its entry and the main agent's permission to spawn it out of openclaw.json (every\n"
    "other setting stays as it was) and restarts the OpenClaw gateway. When openclaw.json is\n"
    "still exactly what the installer wrote, the backup taken before the install is put back.\n"
    "Where nothing of the agent is installed, nothing is changed (only --purge still deletes a\n"
    "session store left behind).\n"
    "\n"
    "  --purge          also delete the agent's session store (<OpenClaw home>/agents/pellix)\n";
constexpr const char* kUninstallEnd =
    "  --json           print only one JSON object on standard output\n"
    "  -h, --help       show this help and exit\n"
    "\n"
    "Exit status: 0 uninstalled (or nothing to do), 1 something could not be removed (named),\n"
    "2 usage error.\n";

constexpr const char* kRestoreConfigIntro =
    "Usage: pellix-installer restore-config [--dry-run] [--json]\n"
    "\n"
    "Puts openclaw.json back exactly as it was before the installer first changed it: the same\n"
    "bytes and permissions, from the backup in <OpenClaw home>/.pellix-installer/. The file it\n"
    "replaces is kept first as openclaw.json.before-restore-<time> beside it, so the restore\n"
    "can be undone.\n"
    "\n";
constexpr const char* kRestoreConfigEnd =
    "  --json           print only one JSON object on standard output\n"
    "  -h, --help       show this help and exit\n"
    "\n"
    "Exit status: 0 restored, 1 no backup or the restore failed (nothing touched), 2 usage\n"
    "error.\n";

}  // namespace

std::string helpText(Command command) {
    switch (command) {
        case Command::install:
            return installHelp();
        case Command::status:
            return kStatusHelp;
        case Command::configure:
            return configureHelp();
        case Command::uninstall:
            return std::string(kUninstallIntro) + kDryRunOption + kUninstallEnd;
        case Command::restoreConfig:
            return std::string(kRestoreConfigIntro) + kDryRunOption + kRestoreConfigEnd;
        default:
            return kProgramHelp;
    }
}

std::string synopsis(Command command) {
    const std::string text = helpText(command);
    return text.substr(0, text.find('\n') + 1);
}

std::string usageErrorText(const UsageError& error) {
    const std::string name = commandName(error.command);
    const std::string program = name.empty() ? "pellix-installer" : "pellix-installer " + name;
    return program + ": " + error.message + "\n" + synopsis(error.command) + "Try '" + program +
           " --help' for more information.\n";
}

}  // namespace pellix
