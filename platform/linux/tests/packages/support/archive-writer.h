// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_PACKAGES_SUPPORT_ARCHIVE_WRITER_H_
#define PLATFORM_LINUX_TESTS_PACKAGES_SUPPORT_ARCHIVE_WRITER_H_

#include <sys/types.h>

#include <memory>
#include <string>

struct archive;

namespace platform::test {

// Writes a package archive, sound or not. Complete when the writer goes out of scope.
class ArchiveWriter {
 public:
  explicit ArchiveWriter(const std::string& path);

  ArchiveWriter& File(const std::string& name, const std::string& content, mode_t mode = 0644);
  ArchiveWriter& Folder(const std::string& name);
  ArchiveWriter& Link(const std::string& name, const std::string& target);
  // Everything below a folder.
  ArchiveWriter& Tree(const std::string& folder);

 private:
  struct Closer {
    void operator()(archive* handle) const;
  };
  void Add(const std::string& name, mode_t type_and_mode, const std::string& content,
           const std::string& target);

  std::unique_ptr<archive, Closer> archive_;
};

}  // namespace platform::test

#endif
