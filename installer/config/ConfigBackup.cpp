#include "config/ConfigBackup.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <ctime>
#include <sstream>

#include "files/FileIo.h"

namespace pellix {

namespace {

constexpr std::size_t kMaxRecordBytes = 64 * 1024;
constexpr std::size_t kVersionsKept = 2;

std::string folderOf(const std::string& path) {
    const auto slash = path.rfind('/');
    return slash == std::string::npos ? "." : path.substr(0, slash);
}

bool ensureFolder(const std::string& folder) {
    if (::mkdir(folder.c_str(), 0700) == 0) return true;
    struct stat info {};
    return errno == EEXIST && ::stat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

std::string recordText(const BackupRecord& record) {
    std::string text;
    if (!record.takenAt.empty()) {
        char mode[16];
        std::snprintf(mode, sizeof mode, "%04o", static_cast<unsigned>(record.mode & 07777));
        text += "taken-at " + record.takenAt + "\nmode " + mode + "\n";
    }
    for (const ContentHash& version : record.written) text += "written " + version.text() + "\n";
    return text;
}

void readRecordLine(const std::string& line, BackupRecord& record) {
    const auto space = line.find(' ');
    if (space == std::string::npos) return;
    const std::string key = line.substr(0, space);
    const std::string value = line.substr(space + 1);
    if (key == "taken-at") {
        record.takenAt = value;
    } else if (key == "mode") {
        record.mode = static_cast<mode_t>(std::strtoul(value.c_str(), nullptr, 8) & 07777);
    } else if (key == "written") {
        if (const auto version = ContentHash::fromText(value)) record.written.push_back(*version);
    }
}

}  // namespace

BackupPaths backupPathsFor(const std::string& configPath) {
    const std::string folder = folderOf(configPath) + "/.pellix-installer";
    return {folder, folder + "/openclaw.json.backup", folder + "/openclaw.json.record"};
}

BackupRecord readBackupRecord(const std::string& configPath) {
    BackupRecord record;
    const auto text = readWholeFile(backupPathsFor(configPath).record, kMaxRecordBytes);
    if (!text) return record;
    std::istringstream lines(*text);
    for (std::string line; std::getline(lines, line);) readRecordLine(line, record);
    return record;
}

bool writeBackupRecord(const std::string& configPath, const BackupRecord& record) {
    const BackupPaths paths = backupPathsFor(configPath);
    AtomicWriteOptions options;
    options.mode = 0600;
    if (!ensureFolder(paths.folder) ||
        writeFileAtomically(paths.record, recordText(record), options)) {
        return false;
    }
    removeStaleTemporaries(paths.record);
    return true;
}

bool isInstallersOwnVersion(const BackupRecord& record, const ContentHash& current) {
    return std::find(record.written.begin(), record.written.end(), current) != record.written.end();
}

bool recordOwnVersion(const std::string& configPath, const ContentHash& version) {
    BackupRecord record = readBackupRecord(configPath);
    if (isInstallersOwnVersion(record, version)) return true;
    record.written.push_back(version);
    if (record.written.size() > kVersionsKept) {
        record.written.erase(record.written.begin(), record.written.end() - kVersionsKept);
    }
    return writeBackupRecord(configPath, record);
}

bool backupDue(const std::string& configPath, const ContentHash& current, bool mentionsPellix) {
    const BackupRecord record = readBackupRecord(configPath);
    struct stat copy {};
    const bool haveCopy =
        !record.takenAt.empty() && ::stat(backupPathsFor(configPath).copy.c_str(), &copy) == 0;
    return !(haveCopy && (mentionsPellix || isInstallersOwnVersion(record, current)));
}

BackupResult takeBackupIfDue(const std::string& configPath, const ContentHash& current, mode_t mode,
                             bool mentionsPellix) {
    if (!backupDue(configPath, current, mentionsPellix)) return BackupResult::kept;
    const BackupPaths paths = backupPathsFor(configPath);
    BackupRecord record = readBackupRecord(configPath);
    if (!ensureFolder(paths.folder)) return BackupResult::failed;
    const std::error_code error = copyFileAtomically(configPath, paths.copy, 0600, current);
    if (error == std::errc::operation_canceled) return BackupResult::fileChanged;
    if (error) return BackupResult::failed;
    removeStaleTemporaries(paths.copy);
    record.takenAt = utcTimestamp();
    record.mode = mode & 07777;
    return writeBackupRecord(configPath, record) ? BackupResult::taken : BackupResult::failed;
}

std::string utcTimestamp(bool forFileName) {
    const std::time_t now = std::time(nullptr);
    std::tm utc{};
    ::gmtime_r(&now, &utc);
    char text[32];
    std::strftime(text, sizeof text, forFileName ? "%Y%m%dT%H%M%SZ" : "%Y-%m-%dT%H:%M:%SZ", &utc);
    return text;
}

}  // namespace pellix
