// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/package-file.h"

#include <filesystem>

#include "scratch.h"

namespace tools::inspect {
namespace {

class PackageFiles : public ScratchTest {
 protected:
  std::string WritePackage(const std::string& version) {
    Write("pkg/tizen-manifest.xml",
          "<?xml version=\"1.0\"?>\n<manifest package=\"p\" version=\"" + version +
              "\">\n<service-application appid=\"p.app\" exec=\"app\"/>\n</manifest>\n");
    Write("pkg/bin/app", "#!/bin/sh\n", true);
    return Folder() + "/pkg";
  }
};

TEST_F(PackageFiles, AreReadWithoutBeingInstalled) {
  const PackageFile file(WritePackage("1.2.3"));
  EXPECT_EQ(file.Contents().record.id, "p");
  EXPECT_EQ(file.Contents().record.version, "1.2.3");
  EXPECT_FALSE(platform::FindPackage("p"));
}

TEST_F(PackageFiles, AreAcceptedWhenValid) { EXPECT_FALSE(RejectionOf(WritePackage("1.2.3"))); }

TEST_F(PackageFiles, AreRejectedWithFileLineAndKey) {
  const auto reason = RejectionOf(WritePackage("1.2"));
  ASSERT_TRUE(reason);
  EXPECT_EQ(reason->location.file, Folder() + "/pkg/tizen-manifest.xml");
  EXPECT_EQ(reason->location.line, 2);
  EXPECT_EQ(reason->location.key, "version");
  EXPECT_EQ(reason->message, "\"1.2\" is not a version like 1.2.3");
}

TEST_F(PackageFiles, AreRejectedWithTheEntryOutsideThePackage) {
  const std::string package = WritePackage("1.2.3");
  std::filesystem::create_symlink("/etc", package + "/out");
  const auto reason = RejectionOf(package);
  ASSERT_TRUE(reason);
  EXPECT_EQ(ToText(*reason), package + ": out: a link to \"/etc\" leaves the package");
}

TEST_F(PackageFiles, AreRejectedWithTheExecutableThatIsThere) {
  const std::string package = WritePackage("1.2.3");
  const auto hint = [&](const std::string& exec) {
    Write("pkg/tizen-manifest.xml",
          "<manifest package=\"p\" version=\"1.2.3\"><service-application appid=\"p.app\" exec=\"" +
              exec + "\"/></manifest>");
    const auto reason = RejectionOf(package);
    return reason ? reason->hint : "";
  };
  EXPECT_EQ(hint("app"), "");
  EXPECT_EQ(hint("bin/app"), "exec is relative to bin/: write exec=\"app\"");
  EXPECT_EQ(hint("other"), "there is bin/app: write exec=\"app\"");
  Write("pkg/bin/tool", "", true);
  EXPECT_EQ(hint("ap"), "there is bin/app: write exec=\"app\"");
  EXPECT_EQ(hint("other"), "set an executable file in bin/, a different one for each application");
  std::filesystem::permissions(package + "/bin/app", std::filesystem::perms(0600));
  EXPECT_EQ(hint("app"), "run: chmod +x " + package + "/bin/app");
}

TEST_F(PackageFiles, RemoveTheirTemporaryFolder) {
  setenv("TMPDIR", Folder().c_str(), 1);
  RejectionOf(WritePackage("1.2"));
  RejectionOf(WritePackage("1.2.3"));
  unsetenv("TMPDIR");
  for (const auto& entry : std::filesystem::directory_iterator(Folder())) {
    EXPECT_EQ(entry.path().filename().string().rfind("qor-package-", 0), std::string::npos)
        << entry;
  }
}

}  // namespace
}  // namespace tools::inspect
