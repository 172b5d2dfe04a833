// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/tests/support/archive-writer.h"

#include <archive.h>
#include <archive_entry.h>
#include <sys/stat.h>

#include <filesystem>
#include <stdexcept>

#include "platform/linux/tests/support/package-folder.h"

namespace platform::test {

namespace fs = std::filesystem;

void ArchiveWriter::Closer::operator()(archive* handle) const { archive_write_free(handle); }

ArchiveWriter::ArchiveWriter(const std::string& path, Format format)
    : archive_(archive_write_new()) {
  if (format == Format::kTar) {
    archive_write_set_format_pax_restricted(archive_.get());
  } else {
    archive_write_set_format_zip(archive_.get());
    if (format == Format::kZip64) archive_write_set_options(archive_.get(), "zip:zip64");
  }
  if (archive_write_open_filename(archive_.get(), path.c_str()) != ARCHIVE_OK)
    throw std::runtime_error(archive_error_string(archive_.get()));
}

void ArchiveWriter::Add(const std::string& name, mode_t type_and_mode, const std::string& content,
                        const std::string& target) {
  archive_entry* entry = archive_entry_new();
  archive_entry_set_pathname(entry, name.c_str());
  archive_entry_set_mode(entry, type_and_mode);
  archive_entry_set_size(entry, static_cast<la_int64_t>(content.size()));
  if (!target.empty()) archive_entry_set_symlink(entry, target.c_str());
  Add(entry, content);
}

void ArchiveWriter::Add(archive_entry* entry, const std::string& content) {
  const int result = archive_write_header(archive_.get(), entry);
  archive_entry_free(entry);
  if (result != ARCHIVE_OK) throw std::runtime_error(archive_error_string(archive_.get()));
  if (!content.empty()) archive_write_data(archive_.get(), content.data(), content.size());
}

ArchiveWriter& ArchiveWriter::File(const std::string& name, const std::string& content,
                                   mode_t mode) {
  Add(name, S_IFREG | mode, content, "");
  return *this;
}

ArchiveWriter& ArchiveWriter::Folder(const std::string& name) {
  Add(name, S_IFDIR | 0755, "", "");
  return *this;
}

ArchiveWriter& ArchiveWriter::Link(const std::string& name, const std::string& target) {
  Add(name, S_IFLNK | 0777, "", target);
  return *this;
}

ArchiveWriter& ArchiveWriter::HardLink(const std::string& name, const std::string& target) {
  archive_entry* entry = archive_entry_new();
  archive_entry_set_pathname(entry, name.c_str());
  archive_entry_set_mode(entry, S_IFREG | 0644);
  archive_entry_set_hardlink(entry, target.c_str());
  Add(entry, "");
  return *this;
}

ArchiveWriter& ArchiveWriter::Tree(const std::string& folder) {
  for (const fs::directory_entry& item : fs::recursive_directory_iterator(folder)) {
    const std::string name = item.path().lexically_relative(folder);
    if (item.is_directory()) {
      Folder(name);
    } else {
      File(name, ReadFile(item.path()), static_cast<mode_t>(item.status().permissions()));
    }
  }
  return *this;
}

void SetTypeOfLastEntry(const std::string& path, mode_t type_and_mode) {
  // A record of the central directory begins with "PK\1\2". The mode is the upper half of the
  // external attributes at offset 38, little-endian.
  constexpr size_t kModeOffset = 40;
  std::string bytes = ReadFile(path);
  const size_t record = bytes.rfind("PK\1\2");
  bytes.at(record + kModeOffset) = static_cast<char>(type_and_mode & 0xFF);
  bytes.at(record + kModeOffset + 1) = static_cast<char>(type_and_mode >> 8);
  WriteFile(path, bytes);
}

}  // namespace platform::test
