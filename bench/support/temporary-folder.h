// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_TEMPORARY_FOLDER_H_
#define QOR_BENCH_SUPPORT_TEMPORARY_FOLDER_H_

#include <string>

namespace bench {

// A new folder, removed with all its contents by the destructor.
class TemporaryFolder {
 public:
  // Creates it in `parent`, or in the system's folder for temporary files.
  explicit TemporaryFolder(const std::string& parent = {});
  TemporaryFolder(const TemporaryFolder&) = delete;
  TemporaryFolder& operator=(const TemporaryFolder&) = delete;
  ~TemporaryFolder();

  // Absolute, without symbolic links.
  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

}  // namespace bench

#endif
