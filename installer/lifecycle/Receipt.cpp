#include "lifecycle/Receipt.h"

#include <rapidjson/document.h>
#include <rapidjson/prettywriter.h>
#include <rapidjson/stringbuffer.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "files/ContentHash.h"
#include "files/FileIo.h"
#include "process/Utf8.h"

namespace fs = std::filesystem;

namespace pellix {

namespace {

using Writer = rapidjson::PrettyWriter<rapidjson::StringBuffer>;

void writeText(Writer& out, const char* key, const std::string& value) {
    out.Key(key);
    out.String(value.c_str(), static_cast<rapidjson::SizeType>(value.size()));
}

void writeList(Writer& out, const char* key, const std::vector<std::string>& values) {
    out.Key(key);
    out.StartArray();
    for (const std::string& value : values) {
        out.String(value.c_str(), static_cast<rapidjson::SizeType>(value.size()));
    }
    out.EndArray();
}

void writeManifest(Writer& out, const std::vector<ManifestEntry>& manifest) {
    out.Key("manifest");
    out.StartArray();
    for (const ManifestEntry& entry : manifest) {
        out.StartObject();
        writeText(out, "path", entry.path);
        out.Key("size");
        out.Uint64(entry.size);
        out.Key("mode");
        out.Uint(entry.mode);
        if (entry.link) {
            out.Key("link");
            out.Bool(true);
        } else {
            writeText(out, "digest", entry.digest);
        }
        out.EndObject();
    }
    out.EndArray();
}

std::string text(const rapidjson::Value& object, const char* key) {
    const auto it = object.FindMember(key);
    if (it == object.MemberEnd() || !it->value.IsString()) return {};
    return {it->value.GetString(), it->value.GetStringLength()};
}

std::vector<std::string> list(const rapidjson::Value& object, const char* key) {
    std::vector<std::string> result;
    const auto it = object.FindMember(key);
    if (it == object.MemberEnd() || !it->value.IsArray()) return result;
    for (const auto& item : it->value.GetArray()) {
        if (item.IsString()) result.emplace_back(item.GetString(), item.GetStringLength());
    }
    return result;
}

std::vector<ManifestEntry> readManifest(const rapidjson::Value& object) {
    std::vector<ManifestEntry> result;
    const auto it = object.FindMember("manifest");
    if (it == object.MemberEnd() || !it->value.IsArray()) return result;
    for (const auto& item : it->value.GetArray()) {
        if (!item.IsObject()) continue;
        ManifestEntry entry;
        entry.path = text(item, "path");
        if (entry.path.empty()) continue;
        if (item.HasMember("size") && item["size"].IsUint64())
            entry.size = item["size"].GetUint64();
        if (item.HasMember("mode") && item["mode"].IsUint()) entry.mode = item["mode"].GetUint();
        entry.link = item.HasMember("link") && item["link"].IsBool() && item["link"].GetBool();
        entry.digest = text(item, "digest");
        result.push_back(std::move(entry));
    }
    return result;
}

// Schema 1 is the first; a later schema adds its fields here and reads the older ones' too.
Receipt receiptFrom(const rapidjson::Value& root, int schemaVersion) {
    Receipt receipt;
    receipt.schemaVersion = schemaVersion;
    receipt.installerVersion = text(root, "installerVersion");
    if (const std::string version = text(root, "agentVersion"); !version.empty()) {
        receipt.agentVersion = version;
    }
    if (const auto choices = root.FindMember("choices");
        choices != root.MemberEnd() && choices->value.IsObject()) {
        receipt.scanPreset = text(choices->value, "scanPreset");
        receipt.modelChoice = text(choices->value, "modelChoice");
    }
    receipt.registrationForm = text(root, "registrationForm");
    receipt.serviceManager = text(root, "serviceManager");
    receipt.jobFiles = list(root, "jobFiles");
    receipt.workspace = text(root, "workspace");
    receipt.pellixDir = text(root, "pellixDir");
    receipt.installedAt = text(root, "installedAt");
    receipt.manifest = readManifest(root);
    return receipt;
}

}  // namespace

const char* toString(ReceiptState state) {
    switch (state) {
        case ReceiptState::missing:
            return "missing";
        case ReceiptState::current:
            return "current";
        case ReceiptState::older:
            return "older";
        case ReceiptState::newer:
            return "newer";
        case ReceiptState::unreadable:
            return "unreadable";
    }
    return "unreadable";
}

std::string receiptPath(const std::string& openclawHome) {
    return openclawHome + "/.pellix-installer/receipt.json";
}

std::string renderReceipt(const Receipt& receipt) {
    rapidjson::StringBuffer buffer;
    Writer out(buffer);
    out.SetIndent(' ', 2);
    out.StartObject();
    out.Key("schemaVersion");
    out.Int(receipt.schemaVersion);
    writeText(out, "installerVersion", receipt.installerVersion);
    out.Key("agentVersion");
    if (receipt.agentVersion) {
        out.String(receipt.agentVersion->c_str());
    } else {
        out.Null();
    }
    out.Key("choices");
    out.StartObject();
    writeText(out, "scanPreset", receipt.scanPreset);
    writeText(out, "modelChoice", receipt.modelChoice);
    out.EndObject();
    writeText(out, "registrationForm", receipt.registrationForm);
    writeText(out, "serviceManager", receipt.serviceManager);
    writeList(out, "jobFiles", receipt.jobFiles);
    writeText(out, "workspace", receipt.workspace);
    writeText(out, "pellixDir", receipt.pellixDir);
    writeText(out, "installedAt", receipt.installedAt);
    writeManifest(out, receipt.manifest);
    out.EndObject();
    return std::string(buffer.GetString(), buffer.GetSize()) + "\n";
}

ReceiptRead readReceipt(const std::string& path, int currentSchema) {
    ReceiptRead read;
    std::error_code error;
    if (!fs::exists(fs::symlink_status(path, error))) return read;
    read.state = ReceiptState::unreadable;
    std::ifstream in(path, std::ios::binary);
    const std::string bytes((std::istreambuf_iterator<char>(in)), std::istreambuf_iterator<char>());
    rapidjson::Document root;
    root.Parse(bytes.c_str(), bytes.size());
    if (!in || root.HasParseError() || !root.IsObject()) return read;
    const auto version = root.FindMember("schemaVersion");
    if (version == root.MemberEnd() || !version->value.IsInt() || version->value.GetInt() < 1) {
        return read;
    }
    read.schemaVersion = version->value.GetInt();
    if (read.schemaVersion > currentSchema) {
        read.state = ReceiptState::newer;
        return read;
    }
    read.state = read.schemaVersion == currentSchema ? ReceiptState::current : ReceiptState::older;
    read.receipt = receiptFrom(root, read.schemaVersion);
    return read;
}

bool writeReceipt(const std::string& path, const Receipt& receipt) {
    const fs::path folder = fs::path(path).parent_path();
    std::error_code error;
    if (!fs::exists(folder, error)) {
        fs::create_directories(folder, error);
        ::chmod(folder.c_str(), 0700);
    }
    AtomicWriteOptions options;
    options.mode = 0600;
    return !writeFileAtomically(path, renderReceipt(receipt), options);
}

std::vector<ManifestEntry> manifestOf(const std::string& tree) {
    std::vector<ManifestEntry> result;
    std::error_code error;
    for (fs::recursive_directory_iterator it(tree, error), end; !error && it != end;
         it.increment(error)) {
        struct stat info {};
        if (::lstat(it->path().c_str(), &info) != 0) continue;
        if (!S_ISREG(info.st_mode) && !S_ISLNK(info.st_mode)) continue;
        ManifestEntry entry;
        entry.path = it->path().lexically_relative(tree).string();
        entry.size = static_cast<std::uint64_t>(info.st_size);
        entry.mode = info.st_mode & 07777;
        entry.link = S_ISLNK(info.st_mode);
        if (!entry.link) {
            if (const auto hash = hashFile(it->path().string())) entry.digest = hash->hex();
        }
        result.push_back(std::move(entry));
    }
    std::sort(result.begin(), result.end(),
              [](const ManifestEntry& a, const ManifestEntry& b) { return a.path < b.path; });
    return result;
}

std::optional<std::string> bundleVersion(const std::string& tree) {
    std::ifstream in(tree + "/VERSION");
    std::string line;
    if (!in || !std::getline(in, line)) return std::nullopt;
    line = trimWhitespaceAndNewlines(line);
    if (line.empty()) return std::nullopt;
    return line;
}

Drift driftOf(const Receipt& receipt, const std::string& pellixDir) {
    Drift drift;
    for (const ManifestEntry& entry : receipt.manifest) {
        if (entry.path == "ops" || entry.path.rfind("ops/", 0) == 0) continue;
        const std::string path = pellixDir + "/" + entry.path;
        struct stat info {};
        if (::lstat(path.c_str(), &info) != 0) {
            drift.missing.push_back(entry.path);
            continue;
        }
        if (entry.link) {
            if (!S_ISLNK(info.st_mode)) drift.modified.push_back(entry.path);
            continue;
        }
        const auto hash = S_ISREG(info.st_mode) ? hashFile(path) : std::nullopt;
        if (!hash || static_cast<std::uint64_t>(info.st_size) != entry.size ||
            hash->hex() != entry.digest) {
            drift.modified.push_back(entry.path);
        }
    }
    return drift;
}

}  // namespace pellix
