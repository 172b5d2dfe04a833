// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_TESTS_SUPPORT_ARCHIVE_WRITER_H_
#define PLATFORM_LINUX_TESTS_SUPPORT_ARCHIVE_WRITER_H_

#include <sys/types.h>

#include <memory>
#include <string>

struct archive;
struct archive_entry;

namespace platform::test {

// Writes a package archive, valid or not. The archive is complete when the writer is destroyed.
class ArchiveWriter {
 public:
  enum class Format { kZip, kZip64, kTar };

  explicit ArchiveWriter(const std::string& path, Format format = Format::kZip);

  ArchiveWriter& File(const std::string& name, const std::string& content, mode_t mode = 0644);
  ArchiveWriter& Folder(const std::string& name);
  ArchiveWriter& Link(const std::string& name, const std::string& target);
  // Supported by tar archives only.
  ArchiveWriter& HardLink(const std::string& name, const std::string& target);
  // Adds everything below a folder.
  ArchiveWriter& Tree(const std::string& folder);

 private:
  struct Closer {
    void operator()(archive* handle) const;
  };
  void Add(const std::string& name, mode_t type_and_mode, const std::string& content,
           const std::string& target);
  void Add(archive_entry* entry, const std::string& content);

  std::unique_ptr<archive, Closer> archive_;
};

// Changes the type of the last entry of a complete zip archive, for example to S_IFIFO.
void SetTypeOfLastEntry(const std::string& path, mode_t type_and_mode);

}  // namespace platform::test

#endif
