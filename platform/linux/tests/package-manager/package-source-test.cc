// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/package-source.h"

#include <gtest/gtest.h>
#include <package_manager.h>
#include <signal.h>
#include <sys/resource.h>
#include <sys/stat.h>

#include <algorithm>
#include <filesystem>

#include "platform/linux/package-manager/errors.h"
#include "platform/linux/tests/support/archive-writer.h"
#include "platform/linux/tests/support/platform-test.h"

namespace platform {
namespace {

namespace fs = std::filesystem;
using test::ArchiveWriter;
using test::ReadFile;
using test::WriteFile;

// Copies packages into the folder `staged`. The file `secret` beside it must not change.
class PackageSourceTest : public test::PlatformTest {
 protected:
  PackageSourceTest() {
    fs::create_directories(staged_);
    WriteFile(Folder() + "/secret", "untouched");
  }

  ~PackageSourceTest() override { EXPECT_EQ(ReadFile(Folder() + "/secret"), "untouched"); }

  void Copy(const std::string& path, PackageLimits limits = {}) {
    StagingWriter writer(staged_, path, limits);
    CopyPackage(path, &writer);
    writer.Finish();
  }

  // Returns the error message, "" when the package is valid.
  std::string ErrorOf(const std::string& path, PackageLimits limits = {}) {
    try {
      Copy(path, limits);
      return "";
    } catch (const InvalidPackageError& error) {
      return error.what();
    }
  }

  void RestoreStaged() const {
    fs::remove_all(staged_);
    fs::create_directories(staged_);
  }

  const std::string staged_ = Folder() + "/staged";
  const std::string archive_ = Folder() + "/package.tpk";
  const std::string source_ = Folder() + "/package";
};

// d/d/d...
std::string DeepPath(size_t depth) {
  std::string path = "d";
  for (size_t i = 1; i < depth; ++i) path += "/d";
  return path;
}

mode_t ModeOf(const std::string& path) {
  struct stat status {};
  EXPECT_EQ(lstat(path.c_str(), &status), 0) << path;
  return status.st_mode & 07777;
}

TEST_F(PackageSourceTest, CopiesAnArchive) {
  ArchiveWriter(archive_)
      .Folder("bin/")
      .File("bin/app", "program", 0755)
      .File("./res/deep/text", std::string(200'000, 't'))
      .File("res/\xC3\xA4.txt", "umlaut")
      .Link("lib/link", "../bin/app")
      .Folder("empty/");
  Copy(archive_);
  EXPECT_EQ(ReadFile(staged_ + "/bin/app"), "program");
  EXPECT_EQ(ModeOf(staged_ + "/bin/app"), 0755U);
  EXPECT_EQ(ReadFile(staged_ + "/res/deep/text"), std::string(200'000, 't'));
  EXPECT_EQ(ReadFile(staged_ + "/res/\xC3\xA4.txt"), "umlaut");
  EXPECT_EQ(fs::read_symlink(staged_ + "/lib/link"), "../bin/app");
  EXPECT_TRUE(fs::is_directory(staged_ + "/empty"));
}

TEST_F(PackageSourceTest, CopiesAFolder) {
  WriteFile(source_ + "/bin/app", "program", true);
  WriteFile(source_ + "/res/text", "");
  fs::create_symlink("text", source_ + "/res/link");
  Copy(source_);
  EXPECT_EQ(ReadFile(staged_ + "/bin/app"), "program");
  EXPECT_EQ(ModeOf(staged_ + "/bin/app"), 0755U);
  EXPECT_EQ(fs::read_symlink(staged_ + "/res/link"), "text");
}

TEST_F(PackageSourceTest, DropsSetuidBitsAndWritePermissionOfOthers) {
  WriteFile(source_ + "/bin/app", "program");
  ASSERT_EQ(chmod((source_ + "/bin/app").c_str(), 07777), 0);
  Copy(source_);
  EXPECT_EQ(ModeOf(staged_ + "/bin/app"), 0755U);
}

TEST_F(PackageSourceTest, RejectsEntryAbovePackage) {
  ArchiveWriter(archive_).File("../secret", "changed");
  EXPECT_EQ(ErrorOf(archive_), archive_ + ":../secret: a path with \"..\" leaves the package");
}

TEST_F(PackageSourceTest, RejectsAbsoluteEntry) {
  ArchiveWriter(archive_).File(Folder() + "/secret", "changed");
  EXPECT_EQ(ErrorOf(archive_),
            archive_ + ":" + Folder() + "/secret: an absolute path leaves the package");
}

TEST_F(PackageSourceTest, RejectsLinkToAbsolutePath) {
  ArchiveWriter(archive_).Link("link", "/etc");
  EXPECT_EQ(ErrorOf(archive_), archive_ + ":link: a link to \"/etc\" leaves the package");
}

TEST_F(PackageSourceTest, RejectsLinkOutOfPackage) {
  fs::create_directories(source_ + "/res");
  fs::create_symlink("../../secret", source_ + "/res/link");
  EXPECT_EQ(ErrorOf(source_), source_ + ":res/link: a link to \"../../secret\" leaves the package");
}

TEST_F(PackageSourceTest, RejectsLinkOutOfPackageThroughAnotherLink) {
  ArchiveWriter(archive_).Folder("a/b/").Link("a/b/up", "../..").Link("out", "a/b/up/../secret");
  EXPECT_EQ(ErrorOf(archive_),
            archive_ + ":out: a link to \"a/b/up/../secret\" leaves the package");
}

TEST_F(PackageSourceTest, RejectsCyclicLinks) {
  ArchiveWriter(archive_).Link("one", "two").Link("two", "one");
  EXPECT_NE(ErrorOf(archive_).find("leaves the package"), std::string::npos);
}

TEST_F(PackageSourceTest, NeverWritesThroughALink) {
  ArchiveWriter(archive_).Link("way", "..").File("way/secret", "changed");
  EXPECT_NE(ErrorOf(archive_), "");
}

TEST_F(PackageSourceTest, NeverCreatesALinkThroughALink) {
  ArchiveWriter(archive_).Link("a", ".").Link("a/b", "..").Link("a/b/new", "secret");
  EXPECT_NE(ErrorOf(archive_), "");
  EXPECT_FALSE(fs::is_symlink(Folder() + "/new"));
}

TEST_F(PackageSourceTest, RejectsDuplicateEntry) {
  ArchiveWriter(archive_).File("bin/app", "one").File("bin/app", "two");
  EXPECT_EQ(ErrorOf(archive_), archive_ + ":bin/app: duplicate entry");
}

TEST_F(PackageSourceTest, RejectsDuplicateFolderOrLink) {
  ArchiveWriter(archive_).Folder("bin/").File("bin/app", "one").Folder("./bin/");
  EXPECT_EQ(ErrorOf(archive_), archive_ + ":./bin/: duplicate entry");
  fs::remove_all(staged_);
  fs::create_directories(staged_);
  ArchiveWriter(archive_).Link("link", "one").Link("link", "two");
  EXPECT_EQ(ErrorOf(archive_), archive_ + ":link: duplicate entry");
}

TEST_F(PackageSourceTest, RejectsFileOrLinkThatIsAlsoAFolder) {
  ArchiveWriter(archive_).File("bin/app", "program").File("bin", "a file");
  EXPECT_EQ(ErrorOf(archive_), archive_ + ":bin: duplicate entry, also used as a folder");
  fs::remove_all(staged_);
  fs::create_directories(staged_);
  ArchiveWriter(archive_).Link("lib", "bin").File("lib/text", "text");
  EXPECT_EQ(ErrorOf(archive_), archive_ + ":lib: duplicate entry, also used as a folder");
}

TEST_F(PackageSourceTest, RejectsEntryBelowFile) {
  ArchiveWriter(archive_).File("bin", "a file").File("bin/app", "program");
  EXPECT_EQ(ErrorOf(archive_), archive_ + ":bin/app: bin is not a folder");
}

TEST_F(PackageSourceTest, RejectsSpecialFile) {
  fs::create_directories(source_ + "/res");
  ASSERT_EQ(mkfifo((source_ + "/res/pipe").c_str(), 0600), 0);
  EXPECT_EQ(ErrorOf(source_),
            source_ + ":res/pipe: neither a file nor a folder nor a symbolic link");
  ASSERT_EQ(mkfifo(archive_.c_str(), 0600), 0);
  EXPECT_NE(ErrorOf(archive_).find("neither a package file nor a folder"), std::string::npos);
}

TEST_F(PackageSourceTest, RejectsMoreEntriesThanTheLimit) {
  ArchiveWriter(archive_).File("one", "1").File("two", "2").File("three", "3");
  EXPECT_EQ(ErrorOf(archive_, {1000, 2}), archive_ + ":three: the package has more than 2 entries");
}

TEST_F(PackageSourceTest, CountsImplicitFolders) {
  ArchiveWriter(archive_).File("one/two/text", "text").Link("one/three/link", "../two/text");
  EXPECT_EQ(ErrorOf(archive_, {1000, 4}),
            archive_ + ":one/three/link: the package has more than 4 entries");
  RestoreStaged();
  EXPECT_EQ(ErrorOf(archive_, {1000, 5}), "");
}

TEST_F(PackageSourceTest, CountsEachFolderOnce) {
  ArchiveWriter(archive_).File("a/one", "1").Folder("a/").File("a/two", "2");
  EXPECT_EQ(ErrorOf(archive_, {1000, 3}), "");
}

TEST_F(PackageSourceTest, RejectsPathsDeeperThanTheLimit) {
  ArchiveWriter(archive_).Folder(DeepPath(64)).File(DeepPath(63) + "/text", "text");
  EXPECT_EQ(ErrorOf(archive_), "");
  for (const std::string& deep : {DeepPath(64) + "/text", "./" + DeepPath(500)}) {
    RestoreStaged();
    ArchiveWriter(archive_).File(deep, "text");
    EXPECT_EQ(ErrorOf(archive_), archive_ + ":" + deep + ": a path deeper than 64 levels");
    EXPECT_TRUE(fs::is_empty(staged_));
  }
}

TEST_F(PackageSourceTest, RejectsAFolderDeeperThanTheLimit) {
  fs::create_directories(source_ + "/" + DeepPath(500));
  EXPECT_EQ(ErrorOf(source_), source_ + ":" + DeepPath(65) + ": a path deeper than 64 levels");
}

TEST_F(PackageSourceTest, RejectsPathsLongerThanTheLimit) {
  const std::string name(249, 'n');
  const std::string longest =
      name + "/" + name + "/" + name + "/" + name + "/" + std::string(24, 'n');
  ArchiveWriter(archive_).File(longest, "text");
  EXPECT_EQ(ErrorOf(archive_), "");
  RestoreStaged();
  ArchiveWriter(archive_).File(longest + "n", "text");
  EXPECT_EQ(ErrorOf(archive_),
            archive_ + ":" + std::string(64, 'n') + "...: a path longer than 1024 bytes");
}

TEST_F(PackageSourceTest, RejectsALinkDeeperThanTheLimit) {
  ArchiveWriter(archive_).Link(DeepPath(65), "text");
  EXPECT_EQ(ErrorOf(archive_), archive_ + ":" + DeepPath(65) + ": a path deeper than 64 levels");
}

TEST_F(PackageSourceTest, RejectsMoreBytesThanTheLimit) {
  ArchiveWriter(archive_).File("one", std::string(600, '1')).File("two", std::string(401, '2'));
  EXPECT_EQ(ErrorOf(archive_, {1000, 10}),
            archive_ + ":two: the package is larger than 1000 bytes");
  EXPECT_FALSE(fs::exists(staged_ + "/two"));
}

TEST_F(PackageSourceTest, IgnoresCompressionRatioOfSmallPackages) {
  ArchiveWriter(archive_).File("zeros", std::string(1 << 20, '\0'));
  ASSERT_LT(fs::file_size(archive_) * 200, 1U << 20);
  EXPECT_EQ(ErrorOf(archive_), "");
}

TEST_F(PackageSourceTest, RejectsHighCompressionRatio) {
  ArchiveWriter(archive_).File("text", "text").File("zeros", std::string(3 << 20, '\0'));
  EXPECT_EQ(ErrorOf(archive_),
            archive_ + ":zeros: the package unpacks to more than 200 times its size");
  EXPECT_FALSE(fs::exists(staged_ + "/zeros"));
}

TEST_F(PackageSourceTest, MeasuresTheRatioOverAllFilesTogether) {
  {
    ArchiveWriter writer(archive_);
    for (int i = 0; i < 30; ++i) writer.File(std::to_string(i), std::string(100'000, '\0'));
  }
  EXPECT_NE(ErrorOf(archive_).find("200 times its size"), std::string::npos);
}

TEST_F(PackageSourceTest, IgnoresCompressionRatioOfFolders) {
  WriteFile(source_ + "/zeros", std::string(3 << 20, '\0'));
  EXPECT_EQ(ErrorOf(source_), "");
}

TEST_F(PackageSourceTest, RejectsASparseFileByItsApparentSizeBeforeCopyingIt) {
  WriteFile(source_ + "/sparse", "");
  fs::resize_file(source_ + "/sparse", std::uintmax_t{1} << 40);
  // A copy would fill the disk.
  rlimit before{};
  getrlimit(RLIMIT_FSIZE, &before);
  const rlimit small = {1 << 20, before.rlim_max};
  signal(SIGXFSZ, SIG_IGN);
  setrlimit(RLIMIT_FSIZE, &small);
  EXPECT_EQ(ErrorOf(source_), source_ + ":sparse: the package is larger than 1073741824 bytes");
  EXPECT_FALSE(fs::exists(staged_ + "/sparse"));
  setrlimit(RLIMIT_FSIZE, &before);
}

TEST_F(PackageSourceTest, AddsTheApparentSizesOfSparseFiles) {
  for (const char* name : {"a", "b", "c"}) {
    WriteFile(source_ + "/" + name, "");
    fs::resize_file(source_ + "/" + name, 400'000);
  }
  EXPECT_NE(ErrorOf(source_, {1'000'000, 10}).find("the package is larger than 1000000 bytes"),
            std::string::npos);
}

TEST_F(PackageSourceTest, CopiesEachNameOfAHardLinkAsAFileOfItsOwn) {
  WriteFile(source_ + "/first", "text");
  fs::create_hard_link(source_ + "/first", source_ + "/second");
  fs::create_hard_link(Folder() + "/secret", source_ + "/third");
  Copy(source_);
  for (const char* name : {"first", "second", "third"}) {
    EXPECT_EQ(fs::hard_link_count(staged_ + "/" + name), 1U) << name;
    WriteFile(staged_ + "/" + name, "changed");
  }
  EXPECT_EQ(ReadFile(source_ + "/first"), "text");
}

TEST_F(PackageSourceTest, CountsEachNameOfAHardLink) {
  WriteFile(source_ + "/first", std::string(600, 't'));
  fs::create_hard_link(source_ + "/first", source_ + "/second");
  EXPECT_NE(ErrorOf(source_, {1000, 10}).find("the package is larger than 1000 bytes"),
            std::string::npos);
}

TEST_F(PackageSourceTest, AllowsLargeArchiveUpToLimitOfBytes) {
  StagingWriter writer(staged_, "package", {2'000'000, 10});
  writer.SetArchiveSize(UINT64_MAX);
  uint64_t left = 2'000'000;
  const auto zeros = [&left](char* buffer, size_t size) {
    const size_t count = static_cast<size_t>(std::min<uint64_t>(size, left));
    std::fill(buffer, buffer + count, '\0');
    left -= count;
    return count;
  };
  EXPECT_NO_THROW(writer.AddFile("zeros", 0644, 2'000'000, zeros));
}

TEST_F(PackageSourceTest, CountsBytesBeyondClaimedSize) {
  fs::create_directories(staged_);
  StagingWriter writer(staged_, "package", {1000, 10});
  const auto endless = [](char* buffer, size_t size) {
    std::fill(buffer, buffer + size, 'x');
    return size;
  };
  EXPECT_THROW(writer.AddFile("bomb", 0644, 0, endless), InvalidPackageError);
}

TEST_F(PackageSourceTest, RejectsFileThatIsNotAnArchive) {
  WriteFile(archive_, "this is no archive");
  EXPECT_NE(ErrorOf(archive_).find(archive_ + ":"), std::string::npos);
}

TEST_F(PackageSourceTest, RejectsTruncatedArchive) {
  ArchiveWriter(archive_).File("bin/app", std::string(100'000, 'p')).File("res/text", "text");
  const std::string whole = ReadFile(archive_);
  for (const size_t size : {whole.size() / 4, whole.size() / 2, whole.size() - 30}) {
    fs::remove_all(staged_);
    fs::create_directories(staged_);
    WriteFile(archive_, whole.substr(0, size));
    EXPECT_NE(ErrorOf(archive_), "") << size << " of " << whole.size() << " bytes";
  }
}

TEST_F(PackageSourceTest, NamesAPathThatDoesNotExist) {
  EXPECT_EQ(InstallPath(Folder() + "/nothing.tpk"), PACKAGE_MANAGER_ERROR_IO_ERROR);
  EXPECT_NE(Log().find(Folder() + "/nothing.tpk"), std::string::npos);
}

}  // namespace
}  // namespace platform
