#include "jobs/SystemdUnits.h"

namespace pellix {

namespace {

std::string escapePercent(const std::string& text) {
    std::string escaped;
    for (char c : text) escaped += c == '%' ? std::string("%%") : std::string(1, c);
    return escaped;
}

std::string environmentLine(const AgentJob& job, const JobValues& values) {
    std::string line = "Environment=" + systemdQuoted(std::string("PATH=") + kChildPath, false) +
                       " " + systemdQuoted("HOME=" + values.home, false);
    if (job.seesOpenClawHome)
        line += " " + systemdQuoted("OPENCLAW_HOME=" + values.openclawHome, false);
    return line;
}

// append: takes the rest of the line as the path, blanks included; only specifiers need care.
std::string logLines(const AgentJob& job, const JobValues& values) {
    return "StandardOutput=append:" +
           escapePercent(values.pellixDir + std::string(job.standardOut)) +
           "\nStandardError=append:" +
           escapePercent(values.pellixDir + std::string(job.standardError)) + "\n";
}

}  // namespace

std::string systemdQuoted(const std::string& text, bool forCommand) {
    std::string quoted = "\"";
    for (char c : text) {
        if (c == '\\' || c == '"') {
            quoted += '\\';
            quoted += c;
        } else if (c == '\n') {
            quoted += "\\n";
        } else if (c == '%') {
            quoted += "%%";
        } else if (c == '$' && forCommand) {
            quoted += "$$";
        } else {
            quoted += c;
        }
    }
    return quoted + "\"";
}

std::string systemdUserUnitFolder(const std::string& configHome) {
    return configHome + "/systemd/user";
}

std::string serviceUnitName(const AgentJob& job) {
    return jobLabel(job.labelSuffix) + ".service";
}

std::string timerUnitName(const AgentJob& job) {
    return jobLabel(job.labelSuffix) + ".timer";
}

std::string serviceUnit(const AgentJob& job, const JobValues& values) {
    const std::string label = jobLabel(job.labelSuffix);
    const std::string execStart = "ExecStart=" + systemdQuoted(values.interpreter, true) + " " +
                                  systemdQuoted(values.pellixDir + std::string(job.script), true) +
                                  "\n";
    if (job.alwaysOn()) {
        // No start limit: like launchd's KeepAlive it comes back however often it ends.
        return "[Unit]\nDescription=Pellix always-on service (" + label +
               ")\nStartLimitIntervalSec=0\n\n[Service]\nType=simple\n" + execStart +
               environmentLine(job, values) + "\n" + logLines(job, values) +
               "Restart=always\nRestartSec=3\n\n[Install]\nWantedBy=default.target\n";
    }
    return "[Unit]\nDescription=Pellix scheduled scanner (" + label +
           ")\n\n[Service]\nType=oneshot\n" + execStart + environmentLine(job, values) + "\n" +
           logLines(job, values);
}

std::string timerUnit(const AgentJob& job) {
    const std::string interval = std::to_string(job.intervalSeconds);
    return "[Unit]\nDescription=Run " + jobLabel(job.labelSuffix) + " every " + interval +
           " s\n\n[Timer]\nOnStartupSec=0\nOnUnitInactiveSec=" + interval +
           "\nAccuracySec=1s\nUnit=" + serviceUnitName(job) +
           "\n\n[Install]\nWantedBy=timers.target\n";
}

}  // namespace pellix
