// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Archives with a valid manifest and one hostile entry.

#include <gtest/gtest.h>
#include <package_manager.h>
#include <sys/stat.h>

#include <filesystem>

#include "platform/linux/common/package-database.h"
#include "platform/linux/tests/support/archive-writer.h"
#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

namespace fs = std::filesystem;
using test::ArchiveWriter;

// Version 1.0.0 of the package is installed; each archive contains an update.
class HostileArchiveTest : public test::PlatformTest {
 protected:
  HostileArchiveTest() {
    EXPECT_EQ(Install(test::PackageSpec()), PACKAGE_MANAGER_ERROR_NONE);
    installed_ = FindPackage("org.test.p")->root_path;
    test::WriteFile(Folder() + "/secret", "untouched");
    test::PackageSpec update;
    update.version = "2.0.0";
    test::WritePackage(update_, update);
  }

  ArchiveWriter Update(ArchiveWriter::Format format = ArchiveWriter::Format::kZip) {
    ArchiveWriter writer(archive_, format);
    writer.Tree(update_);
    return writer;
  }

  // `reason` follows the archive's path in the log.
  void ExpectRefused(const std::string& reason) {
    EXPECT_EQ(InstallPath(archive_), PACKAGE_MANAGER_ERROR_INVALID_PARAMETER);
    EXPECT_NE(Log().find(archive_ + ":" + reason), std::string::npos) << Log();
    EXPECT_EQ(test::ReadFile(Folder() + "/secret"), "untouched");
    EXPECT_TRUE(test::SortedNames(Root() + "/staging").empty());
    EXPECT_EQ(test::SortedNames(Root() + "/packages/org.test.p").size(), 1U);
    EXPECT_EQ(FindPackage("org.test.p")->root_path, installed_);
    EXPECT_EQ(test::ReadFile(installed_ + "/res/note.txt"), "version 1.0.0");
  }

  const std::string update_ = Folder() + "/update";
  const std::string archive_ = Folder() + "/update.tpk";
  std::string installed_;
};

TEST_F(HostileArchiveTest, InstallsUpdateWithoutHostileEntry) {
  Update();
  EXPECT_EQ(InstallPath(archive_), PACKAGE_MANAGER_ERROR_NONE) << Log();
  EXPECT_EQ(FindPackage("org.test.p")->version, "2.0.0");
}

TEST_F(HostileArchiveTest, RejectsPathWithDotDot) {
  Update().File("res/../../secret", "changed");
  ExpectRefused("res/../../secret: a path with \"..\" leaves the package");
}

TEST_F(HostileArchiveTest, RejectsAbsolutePath) {
  Update().File(Folder() + "/secret", "changed");
  ExpectRefused(Folder() + "/secret: an absolute path leaves the package");
}

TEST_F(HostileArchiveTest, RejectsLinkOutOfPackage) {
  Update().Link("res/link", "../../../../../secret");
  ExpectRefused("res/link: a link to \"../../../../../secret\" leaves the package");
}

TEST_F(HostileArchiveTest, RejectsAbsoluteLink) {
  Update().Link("res/link", Folder() + "/secret");
  ExpectRefused("res/link: a link to \"" + Folder() + "/secret\" leaves the package");
}

TEST_F(HostileArchiveTest, RejectsFileBelowLinkedFolder) {
  Update().Link("way", "../../..").File("way/secret", "changed");
  ExpectRefused("way: duplicate entry, also used as a folder");
}

TEST_F(HostileArchiveTest, RejectsLinkBelowLinkedFolder) {
  Update().Link("way", "res").Link("way/link", "../bin");
  ExpectRefused("way/link: way is not a folder");
}

TEST_F(HostileArchiveTest, RejectsHardLinkInTarArchive) {
  Update(ArchiveWriter::Format::kTar).HardLink("res/link", Folder() + "/secret");
  ExpectRefused("start: Unrecognized archive format");
}

TEST_F(HostileArchiveTest, RejectsSpecialFile) {
  for (const mode_t type : {mode_t{S_IFCHR}, mode_t{S_IFBLK}, mode_t{S_IFSOCK}}) {
    Update().File("res/special", "");
    test::SetTypeOfLastEntry(archive_, type | 0644);
    ExpectRefused("res/special: neither a file nor a folder nor a symbolic link");
  }
}

// The archive reader treats a pipe as a regular file.
TEST_F(HostileArchiveTest, CreatesNoPipe) {
  Update().File("res/pipe", "");
  test::SetTypeOfLastEntry(archive_, S_IFIFO | 0644);
  ASSERT_EQ(InstallPath(archive_), PACKAGE_MANAGER_ERROR_NONE) << Log();
  EXPECT_TRUE(fs::is_regular_file(FindPackage("org.test.p")->root_path + "/res/pipe"));
}

TEST_F(HostileArchiveTest, RejectsSecondManifest) {
  Update().File("./tizen-manifest.xml", "<manifest/>");
  ExpectRefused("./tizen-manifest.xml: duplicate entry");
}

// Nested folders that fit in 8 KB and need one descriptor for each level when they are walked.
TEST_F(HostileArchiveTest, RejectsDeeplyNestedFolders) {
  std::string chain;
  for (int i = 0; i < 1900; ++i) chain += "d/";
  Update().File(chain + "text", "text");
  ExpectRefused(chain.substr(0, 64) + "...: a path longer than 1024 bytes");
  Update().File(chain.substr(0, 1000) + "text", "text");
  ExpectRefused(chain.substr(0, 1000) + "text: a path deeper than 64 levels");
  Update();
  EXPECT_EQ(InstallPath(archive_), PACKAGE_MANAGER_ERROR_NONE) << Log();
}

TEST_F(HostileArchiveTest, RejectsDuplicateInAnotherSpelling) {
  for (const char* name : {"res//note.txt", "./res/note.txt", "res/./note.txt"}) {
    Update().File(name, "again");
    ExpectRefused(std::string(name) + ": duplicate entry");
  }
}

TEST_F(HostileArchiveTest, RejectsFolderInPlaceOfFile) {
  Update().Folder("res/note.txt/");
  ExpectRefused("res/note.txt/: duplicate entry");
  Update().File("res/note.txt/below", "text");
  ExpectRefused("res/note.txt/below: res/note.txt is not a folder");
}

TEST_F(HostileArchiveTest, InstallsZip64Archive) {
  Update(ArchiveWriter::Format::kZip64);
  EXPECT_EQ(InstallPath(archive_), PACKAGE_MANAGER_ERROR_NONE) << Log();
  EXPECT_EQ(FindPackage("org.test.p")->version, "2.0.0");
}

// The size of an entry in eight bytes, as only 64-bit fields hold it.
std::string SizeField(uint64_t size) {
  std::string bytes;
  for (int shift = 0; shift < 64; shift += 8) bytes += static_cast<char>(size >> shift & 0xFF);
  return bytes;
}

TEST_F(HostileArchiveTest, RejectsForgedZip64Size) {
  constexpr uint64_t kSize = 54'321;
  for (const uint64_t forged : {uint64_t{1} << 40, uint64_t{1} << 63, UINT64_MAX}) {
    Update(ArchiveWriter::Format::kZip64).File("res/large", std::string(kSize, 'l'));
    std::string bytes = test::ReadFile(archive_);
    size_t count = 0;
    for (size_t at = 0; (at = bytes.find(SizeField(kSize), at)) != std::string::npos; ++count) {
      bytes.replace(at, sizeof forged, SizeField(forged));
    }
    EXPECT_GT(count, 0U);
    test::WriteFile(archive_, bytes);
    ExpectRefused("res/large: the package unpacks to more than 200 times its size");
  }
}

TEST_F(HostileArchiveTest, RejectsDecompressionBomb) {
  Update().File("res/zeros", std::string(8 << 20, '\0'));
  ExpectRefused("res/zeros: the package unpacks to more than 200 times its size");
}

}  // namespace
}  // namespace platform
