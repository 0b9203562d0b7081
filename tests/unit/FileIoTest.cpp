#include <gtest/gtest.h>
#include <sys/stat.h>

#include <filesystem>

#include "FileChecks.h"
#include "TestSupport.h"
#include "files/FileIo.h"

namespace fs = std::filesystem;

namespace pellix {
namespace {

using test::TempDir;

TEST(FileIo, NamedPipeInPlaceOfTheFileIsRefusedWithoutWaiting) {
    TempDir dir;
    ASSERT_EQ(::mkfifo((dir / "openclaw.json").c_str(), 0600), 0);
    EXPECT_EQ(readWholeFile(dir / "openclaw.json", 1024), std::nullopt);
}

TEST(FileIo, FileLargerThanTheLimitIsRefused) {
    TempDir dir;
    test::writeFile(dir / "big", std::string(2048, 'x'));
    EXPECT_EQ(readWholeFile(dir / "big", 2047), std::nullopt);
    EXPECT_EQ(readWholeFile(dir / "big", 2048), std::string(2048, 'x'));
}

TEST(FileIo, AtomicWriteCreatesAMissingFileWithTheUsualPermissions) {
    TempDir dir;
    const mode_t mask = ::umask(022);
    EXPECT_FALSE(writeFileAtomically(dir / "new.plist", "text"));
    ::umask(mask);
    EXPECT_EQ(test::readFile(dir / "new.plist"), "text");
    EXPECT_EQ(fs::status(dir / "new.plist").permissions() & fs::perms::all,
              fs::perms::owner_read | fs::perms::owner_write | fs::perms::group_read |
                  fs::perms::others_read);
    EXPECT_EQ(test::namesIn(dir.path()), std::vector<std::string>({"new.plist"}));
}

TEST(FileIo, AtomicWriteIntoAMissingFolderReportsTheSystemsError) {
    TempDir dir;
    const std::error_code error = writeFileAtomically(dir / "absent/file", "text");
    EXPECT_EQ(error, std::errc::no_such_file_or_directory);
    EXPECT_EQ(error.message(), "No such file or directory");
}

TEST(FileIo, AtomicWriteReplacesTheFileRatherThanWritingIntoIt) {
    TempDir dir;
    test::writeFile(dir / "f", "old");
    const ino_t before = test::inodeOf(dir / "f");
    EXPECT_FALSE(writeFileAtomically(dir / "f", "new"));
    EXPECT_EQ(test::readFile(dir / "f"), "new");
    EXPECT_NE(test::inodeOf(dir / "f"), before);
}

}  // namespace
}  // namespace pellix
