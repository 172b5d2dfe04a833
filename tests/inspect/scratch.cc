// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "scratch.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace tools::inspect {

namespace fs = std::filesystem;

ScratchTest::ScratchTest() {
  std::string folder = fs::temp_directory_path() / "qor-inspect-XXXXXX";
  if (mkdtemp(folder.data()) == nullptr) throw std::runtime_error("mkdtemp failed");
  folder_ = fs::canonical(folder);
  setenv("QOR_PLATFORM_ROOT", (folder_ + "/root").c_str(), 1);
}

ScratchTest::~ScratchTest() { fs::remove_all(folder_); }

std::string ScratchTest::Write(const std::string& relative_path, const std::string& text,
                               bool executable) const {
  const fs::path path = fs::path(folder_) / relative_path;
  fs::create_directories(path.parent_path());
  std::ofstream(path, std::ios::binary) << text;
  if (executable) fs::permissions(path, fs::perms::owner_all);
  return path;
}

}  // namespace tools::inspect
