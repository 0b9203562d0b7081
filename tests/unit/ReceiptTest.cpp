// The install's receipt: written and read back whole; older ones read, newer and broken ones
// named and ignored; the manifest tells which shipped files changed, never counting ops/.

#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "TestSupport.h"
#include "lifecycle/Receipt.h"

namespace fs = std::filesystem;

namespace pellix {
namespace {

using test::TempDir;

class ReceiptFile : public ::testing::Test {
protected:
    void SetUp() override {
        test::writeFile(tree() + "/AGENTS.md", "agents\n");
        test::writeFile(tree() + "/VERSION", "1.2.0\n");
        test::writeFile(tree() + "/scripts/run.sh", "#!/bin/bash\n");
        ::chmod((tree() + "/scripts/run.sh").c_str(), 0755);
        test::writeFile(tree() + "/ops/agent-watch-list.md", "# list\n");
        fs::create_symlink("scripts/run.sh", tree() + "/run");
    }

    std::string tree() const { return root / "tree"; }
    std::string path() const { return root / "home/.pellix-installer/receipt.json"; }

    Receipt sample() const {
        Receipt receipt;
        receipt.installerVersion = "0.1.0";
        receipt.agentVersion = bundleVersion(tree());
        receipt.scanPreset = "daily";
        receipt.modelChoice = "opus";
        receipt.registrationForm = "agents.entries";
        receipt.serviceManager = "systemd";
        receipt.jobFiles = {"/home/u/.config/systemd/user/ai.pellix.pellix-service.service"};
        receipt.workspace = "/home/u/.openclaw/workspace-main";
        receipt.pellixDir = tree();
        receipt.installedAt = "2026-11-23T10:00:00Z";
        receipt.manifest = manifestOf(tree());
        return receipt;
    }

    TempDir root;
};

TEST_F(ReceiptFile, IsWrittenPrivatelyAndReadBackWhole) {
    ASSERT_TRUE(writeReceipt(path(), sample()));
    struct stat info {};
    ASSERT_EQ(::stat(path().c_str(), &info), 0);
    EXPECT_EQ(info.st_mode & 0777, 0600u);
    const ReceiptRead read = readReceipt(path());
    ASSERT_EQ(read.state, ReceiptState::current);
    ASSERT_TRUE(read.receipt);
    EXPECT_EQ(renderReceipt(*read.receipt), renderReceipt(sample()));
    const auto json = nlohmann::json::parse(test::readFile(path()));
    EXPECT_EQ(json["schemaVersion"], 1);
    EXPECT_EQ(json["agentVersion"], "1.2.0");
    EXPECT_EQ(json["choices"]["scanPreset"], "daily");
}

TEST_F(ReceiptFile, ManifestHoldsEachFileAndLinkWithSizeModeAndDigest) {
    const std::vector<ManifestEntry> manifest = manifestOf(tree());
    std::vector<std::string> paths;
    for (const ManifestEntry& entry : manifest) paths.push_back(entry.path);
    EXPECT_EQ(paths, (std::vector<std::string>{"AGENTS.md", "VERSION", "ops/agent-watch-list.md",
                                               "run", "scripts/run.sh"}));
    const ManifestEntry& script = manifest.back();
    EXPECT_EQ(script.size, 12u);
    EXPECT_EQ(script.mode, 0755u);
    EXPECT_EQ(script.digest.size(), 32u);
    EXPECT_TRUE(manifest[3].link);
}

TEST_F(ReceiptFile, DriftNamesChangedAndMissingShippedFilesButNeverOps) {
    const Receipt receipt = sample();
    EXPECT_TRUE(driftOf(receipt, tree()).empty());
    test::writeFile(tree() + "/AGENTS.md", "changed\n");
    fs::remove(tree() + "/scripts/run.sh");
    test::writeFile(tree() + "/ops/agent-watch-list.md", "- my agent\n");
    test::writeFile(tree() + "/ops/memory/new.md", "mine\n");
    const Drift drift = driftOf(receipt, tree());
    EXPECT_EQ(drift.modified, std::vector<std::string>{"AGENTS.md"});
    EXPECT_EQ(drift.missing, std::vector<std::string>{"scripts/run.sh"});
}

TEST_F(ReceiptFile, AnOlderSchemaIsReadForWhatItHas) {
    ASSERT_TRUE(writeReceipt(path(), sample()));
    const ReceiptRead read = readReceipt(path(), Receipt::kSchemaVersion + 1);
    EXPECT_EQ(read.state, ReceiptState::older);
    ASSERT_TRUE(read.receipt);
    EXPECT_EQ(read.receipt->agentVersion, "1.2.0");
}

TEST_F(ReceiptFile, ANewerSchemaIsNamedAndIgnored) {
    test::writeFile(path(), R"({"schemaVersion": 7, "agentVersion": "9.0.0", "future": true})");
    const ReceiptRead read = readReceipt(path());
    EXPECT_EQ(read.state, ReceiptState::newer);
    EXPECT_EQ(read.schemaVersion, 7);
    EXPECT_FALSE(read.receipt);
}

TEST_F(ReceiptFile, OneThatIsNotJsonIsUnreadableAndAMissingOneMissing) {
    EXPECT_EQ(readReceipt(path()).state, ReceiptState::missing);
    for (const char* bytes : {"not json", "[1, 2]", "{\"schemaVersion\": \"one\"}", ""}) {
        test::writeFile(path(), bytes);
        const ReceiptRead read = readReceipt(path());
        EXPECT_EQ(read.state, ReceiptState::unreadable) << bytes;
        EXPECT_FALSE(read.receipt);
    }
}

TEST_F(ReceiptFile, TheBundleNamesItsVersionInItsVersionFile) {
    EXPECT_EQ(bundleVersion(tree()), "1.2.0");
    fs::remove(tree() + "/VERSION");
    EXPECT_FALSE(bundleVersion(tree()));
}

}  // namespace
}  // namespace pellix
