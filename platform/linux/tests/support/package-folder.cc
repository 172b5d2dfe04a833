// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/package-folder.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <cerrno>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <system_error>

#include "platform/linux/common/unix-socket.h"

namespace platform::test {

namespace fs = std::filesystem;

void WriteFile(const std::string& path, const std::string& content, bool executable) {
  fs::create_directories(fs::path(path).parent_path());
  std::ofstream(path, std::ios::binary) << content;
  if (executable) fs::permissions(path, fs::perms(0755));
}

std::string ReadFile(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

std::string ManifestOf(const PackageSpec& package) {
  std::string text = "<?xml version=\"1.0\" encoding=\"utf-8\"?>\n";
  text += "<manifest xmlns=\"http://tizen.org/ns/packages\" api-version=\"6.5\" package=\"" +
          package.id + "\" version=\"" + package.version + "\"" +
          (package.preload ? " preload=\"true\"" : "") + ">\n";
  text += "  <service-application appid=\"" + package.app_id + "\" exec=\"app\" type=\"capp\">\n";
  for (const auto& [key, value] : package.metadata)
    text += "    <metadata key=\"" + key + "\" value=\"" + value + "\"/>\n";
  text += "  </service-application>\n  <privileges>\n";
  for (const std::string& privilege : package.privileges)
    text += "    <privilege>" + privilege + "</privilege>\n";
  return text + "  </privileges>\n</manifest>\n";
}

void MakeDeepFolder(const std::string& folder, const std::string& name, int levels) {
  UniqueFd last(open(folder.c_str(), O_PATH | O_CLOEXEC));
  for (int i = 0; i < levels; ++i) {
    if (mkdirat(last.Get(), name.c_str(), 0755) != 0)
      throw std::system_error(errno, std::generic_category(), name);
    last = UniqueFd(openat(last.Get(), name.c_str(), O_PATH | O_CLOEXEC));
  }
}

void WritePackage(const std::string& folder, const PackageSpec& package) {
  WriteFile(folder + "/tizen-manifest.xml", ManifestOf(package));
  WriteFile(folder + "/res/note.txt", "version " + package.version);
  if (package.executable.empty()) {
    WriteFile(folder + "/bin/app", "#!/bin/true\n", true);
  } else {
    fs::create_directories(folder + "/bin");
    fs::copy_file(package.executable, folder + "/bin/app", fs::copy_options::overwrite_existing);
  }
}

}  // namespace platform::test
