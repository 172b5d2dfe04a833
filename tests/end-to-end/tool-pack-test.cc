// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <sstream>

#include "end-to-end-test.h"
#include "example-copy.h"

namespace end_to_end {
namespace {

namespace fs = std::filesystem;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class ToolPack : public EndToEndTest {
 protected:
  ExampleCopy Copy() { return ExampleCopy(Packages() + "/greet", Root() + "/greet"); }

  tools::ProcessResult Pack(const std::string& folder, const std::string& archive) {
    return Qor({"package", "pack", folder, "-o", Root() + "/" + archive});
  }
  // Runs `qor package pack` in a shell with settings before it.
  tools::ProcessResult PackWith(const std::string& settings, const std::string& folder,
                                const std::string& archive) {
    return tools::RunProcess(
        {"sh", "-c", settings + " exec \"$@\"", "sh", BuildFolder() + "/tools/qor/qor", "package",
         "pack", folder, "-o", Root() + "/" + archive},
        kTimeoutSeconds);
  }

  std::string Bytes(const std::string& archive) {
    std::ostringstream bytes;
    bytes << std::ifstream(Root() + "/" + archive, std::ios::binary).rdbuf();
    EXPECT_FALSE(bytes.str().empty());
    return bytes.str();
  }
};

TEST_F(ToolPack, PrintsWhatIsInTheArchive) {
  const auto copy = Copy();
  copy.Write("res/note.txt", "12345");
  const auto text = Pack(copy.Path(), "greet.tpk");
  EXPECT_EQ(text.exit_status, 0) << text.errors;
  EXPECT_THAT(text.output, StartsWith(Root() + "/greet.tpk: org.example.greet 1.0.0\n"));
  for (const char* line : {"\n  application: org.example.greet.handler\n    request type: greet\n",
                           "\n  file: bin/greet-handler, ", "\n  file: res/note.txt, 5 bytes\n"}) {
    EXPECT_THAT(text.output, HasSubstr(line));
  }
  const auto json = Qor({"package", "pack", copy.Path(), "-o", Root() + "/greet.tpk", "--json"});
  EXPECT_THAT(json.output, StartsWith("{\"archive\":\"" + Root() + "/greet.tpk\",\"bytes\":"));
  EXPECT_THAT(json.output, HasSubstr("\"applications\":[{\"appId\":\"org.example.greet.handler\","
                                     "\"requestTypes\":[\"greet\"]}],\"files\":[{\"path\":"));
  EXPECT_THAT(json.output, HasSubstr("{\"path\":\"res/note.txt\",\"bytes\":5}"));
}

TEST_F(ToolPack, WritesAnArchiveThatCanBeInstalled) {
  const auto copy = Copy();
  fs::create_directory(copy.Path() + "/empty");
  fs::create_symlink("../res", copy.Path() + "/bin/link");
  copy.Write("res/→.txt", "");
  ASSERT_EQ(PackWith("LC_ALL=C", copy.Path(), "greet.tpk").exit_status, 0);
  const auto installed = Qor({"package", "install", Root() + "/greet.tpk"});
  EXPECT_EQ(installed.output, "org.example.greet: installed\n") << installed.errors;
  EXPECT_EQ(Qor({"send", "greet"}).output, "{\"text\":\"hello\"}\n");
  const std::string shown = Qor({"package", "show", "org.example.greet"}).output;
  const auto at = shown.find("root path: ") + 11;
  const std::string root = shown.substr(at, shown.find('\n', at) - at);
  EXPECT_TRUE(fs::is_directory(root + "/empty"));
  EXPECT_EQ(fs::read_symlink(root + "/bin/link"), "../res");
  EXPECT_TRUE(fs::exists(root + "/res/→.txt"));
}

TEST_F(ToolPack, NamesTheArchiveLikeThePackage) {
  fs::current_path(Root());
  EXPECT_THAT(Qor({"package", "pack", Packages() + "/greet"}).output,
              StartsWith("org.example.greet-1.0.0.tpk: "));
  fs::current_path("/");
  EXPECT_TRUE(fs::exists(Root() + "/org.example.greet-1.0.0.tpk"));
}

TEST_F(ToolPack, WritesTheSameBytesForTheSameFiles) {
  const auto copy = Copy();
  ASSERT_EQ(Pack(copy.Path(), "first.tpk").exit_status, 0);
  fs::permissions(copy.Path() + "/res/handler.yaml", fs::perms::owner_read);
  fs::last_write_time(copy.Path() + "/tizen-manifest.xml", fs::file_time_type());
  ASSERT_EQ(PackWith("TZ=Asia/Tokyo", copy.Path(), "second.tpk").exit_status, 0);
  EXPECT_EQ(Bytes("first.tpk"), Bytes("second.tpk"));
  ASSERT_EQ(PackWith("SOURCE_DATE_EPOCH=1700000000", copy.Path(), "dated.tpk").exit_status, 0);
  EXPECT_NE(Bytes("first.tpk"), Bytes("dated.tpk"));
  const auto listed =
      tools::RunProcess({"python3", "-m", "zipfile", "-l", Root() + "/dated.tpk"}, kTimeoutSeconds);
  EXPECT_THAT(listed.output, HasSubstr("2023-11-14 22:13:20"));
}

TEST_F(ToolPack, RefusesWhatCheckRejects) {
  const auto copy = Copy();
  copy.Write("res/handler.yaml", "request_types: [greet]\n");
  const auto config = Pack(copy.Path(), "greet.tpk");
  EXPECT_EQ(config.exit_status, 1);
  EXPECT_THAT(config.errors,
              StartsWith("qor: " + copy.Path() + "/res/handler.yaml:1: request_types: unknown"));
  copy.Replace("version=\"1.0.0\"", "version=\"1\"");
  const auto manifest = Pack(copy.Path(), "greet.tpk");
  EXPECT_EQ(manifest.exit_status, 1);
  EXPECT_THAT(manifest.errors, HasSubstr("version: \"1\" is not a version like 1.2.3"));
  EXPECT_FALSE(fs::exists(Root() + "/greet.tpk"));
  EXPECT_FALSE(fs::exists(Root() + "/greet.tpk.part"));
}

TEST_F(ToolPack, RefusesOtherInputs) {
  const auto copy = Copy();
  ASSERT_EQ(Pack(copy.Path(), "greet.tpk").exit_status, 0);
  EXPECT_THAT(Pack(Root() + "/greet.tpk", "again.tpk").errors,
              HasSubstr("greet.tpk: not a folder"));
  EXPECT_THAT(Pack(Root() + "/missing", "again.tpk").errors, HasSubstr("no such file or folder"));
  EXPECT_THAT(Pack(copy.Path(), "greet/inside.tpk").errors, HasSubstr("is inside the package"));
  EXPECT_THAT(Pack(copy.Path(), "missing/greet.tpk").errors, HasSubstr("No such file"));
  for (const char* time : {"now", "1", "99999999999", "''"}) {
    const auto run = PackWith(std::string("SOURCE_DATE_EPOCH=") + time, copy.Path(), "again.tpk");
    EXPECT_EQ(run.exit_status, 2) << time;
    EXPECT_THAT(run.errors, HasSubstr("SOURCE_DATE_EPOCH is not a time from 1980 to 2106"));
  }
  EXPECT_FALSE(fs::exists(Root() + "/again.tpk"));
  EXPECT_FALSE(fs::exists(copy.Path() + "/inside.tpk"));
}

TEST_F(ToolPack, KeepsTheArchiveOfBeforeWhenTheDiskIsFull) {
  const auto copy = Copy();
  ASSERT_EQ(Pack(copy.Path(), "greet.tpk").exit_status, 0);
  const std::string before = Bytes("greet.tpk");
  // Each file is below the limit, but not the archive: these files cannot be compressed.
  const auto size = fs::file_size(copy.Path() + "/bin/greet-handler");
  std::independent_bits_engine<std::mt19937, 8, unsigned> random;
  std::string noise(size, ' ');
  for (char& byte : noise) byte = static_cast<char>(random());
  for (const char* file : {"res/a", "res/b", "res/c"}) copy.Write(file, noise);
  const std::string blocks = std::to_string(size / 512 + 100);
  const auto run = PackWith("trap '' XFSZ; ulimit -f " + blocks + ";", copy.Path(), "greet.tpk");
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_THAT(run.errors, HasSubstr("greet.tpk: "));
  EXPECT_EQ(Bytes("greet.tpk"), before);
  EXPECT_FALSE(fs::exists(Root() + "/greet.tpk.part"));
}

TEST_F(ToolPack, InstallNamesAManifestThatIsNotAtTheTop) {
  const auto copy = Copy();
  fs::create_directory(Root() + "/outer");
  fs::rename(copy.Path(), Root() + "/outer/greet");
  const std::string archive = Root() + "/wrong.tpk";
  ASSERT_EQ(tools::RunProcess({"python3", "-m", "zipfile", "-c", archive, Root() + "/outer/greet"},
                              kTimeoutSeconds)
                .exit_status,
            0);
  for (const std::string& package : {archive, Root() + "/outer"}) {
    for (const char* verb : {"install", "update", "pack"}) {
      const auto run = Qor({"package", verb, package});
      EXPECT_EQ(run.exit_status, 1);
      EXPECT_THAT(run.errors,
                  EndsWith("qor: " + package +
                           "/tizen-manifest.xml: the package has no manifest (found "
                           "greet/tizen-manifest.xml)\n  pack the folder that contains the "
                           "manifest: qor package pack FOLDER\n"));
    }
  }
}

TEST_F(ToolPack, InstallNamesWhatAPackageWithoutAManifestContains) {
  const auto copy = Copy();
  fs::rename(copy.Path() + "/tizen-manifest.xml", copy.Path() + "/manifest.xml");
  EXPECT_THAT(Qor({"package", "install", copy.Path()}).errors,
              HasSubstr("the package has no manifest (found bin, manifest.xml, res)\n"));
  fs::rename(copy.Path() + "/manifest.xml", copy.Path() + "/Tizen-Manifest.xml");
  EXPECT_THAT(Qor({"package", "install", copy.Path()}).errors,
              HasSubstr("the package has no manifest (found Tizen-Manifest.xml)\n"));
}

}  // namespace
}  // namespace end_to_end
