// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "support/temporary-folder.h"

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <system_error>

namespace bench {

namespace fs = std::filesystem;

TemporaryFolder::TemporaryFolder(const std::string& parent) {
  std::string path =
      (parent.empty() ? fs::temp_directory_path() : fs::path(parent)) / "qor-bench-XXXXXX";
  if (mkdtemp(path.data()) == nullptr) {
    throw std::system_error(errno, std::generic_category(), path);
  }
  path_ = fs::canonical(path);
}

TemporaryFolder::~TemporaryFolder() {
  std::error_code ignored;
  fs::remove_all(path_, ignored);
}

}  // namespace bench
