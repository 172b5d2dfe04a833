// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "target.h"

#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace fuzz {
namespace {

namespace fs = std::filesystem;

class Folder {
 public:
  Folder() : path_(fs::temp_directory_path() / "qor-fuzz-XXXXXX") {
    if (mkdtemp(path_.data()) == nullptr) throw std::runtime_error("cannot make " + path_);
    setenv("QOR_PLATFORM_ROOT", (path_ + "/root").c_str(), 1);
    // Formats log lines, but does not store them.
    setenv("DLOG_FILE", "/dev/null", 1);
  }
  Folder(const Folder&) = delete;
  Folder& operator=(const Folder&) = delete;
  ~Folder() {
    std::error_code ignored;
    fs::remove_all(path_, ignored);
  }

  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace

void Require(bool condition, const char* text) {
  if (condition) return;
  std::fprintf(stderr, "check failed: %s\n", text);
  std::abort();
}

const std::string& ScratchFolder() {
  static const Folder folder;
  return folder.Path();
}

std::string WriteFile(const std::string& name, const std::string& content) {
  const fs::path path = fs::path(ScratchFolder()) / name;
  fs::create_directories(path.parent_path());
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  file << content;
  Require(static_cast<bool>(file.flush()), "a file can be written to the scratch folder");
  return path;
}

}  // namespace fuzz
