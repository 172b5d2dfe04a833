// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/package-source.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <filesystem>
#include <memory>

#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/file-system.h"
#include "platform/linux/package-manager/utf8-locale.h"

namespace platform {
namespace {

namespace fs = std::filesystem;

void CopyFile(const std::string& path, const std::string& entry, StagingWriter* writer) {
  // Non-blocking in case the file has been replaced by a pipe since the folder was listed.
  const UniqueFd file(open(path.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
  struct stat status {};
  if (!file || fstat(file.Get(), &status) != 0) throw FileError(path);
  if (!S_ISREG(status.st_mode)) writer->RejectSpecial(entry);
  const auto read_on = [&](char* buffer, size_t size) {
    ssize_t count = -1;
    do {
      count = read(file.Get(), buffer, size);
    } while (count < 0 && errno == EINTR);
    if (count < 0) throw FileError(path);
    return static_cast<size_t>(count);
  };
  writer->AddFile(entry, status.st_mode, static_cast<uint64_t>(status.st_size), read_on);
}

void CopyFolder(const std::string& path, StagingWriter* writer) {
  for (const fs::directory_entry& item : fs::recursive_directory_iterator(path)) {
    const std::string entry = item.path().lexically_relative(path);
    switch (item.symlink_status().type()) {
      case fs::file_type::regular:
        CopyFile(item.path(), entry, writer);
        break;
      case fs::file_type::directory:
        writer->AddFolder(entry);
        break;
      case fs::file_type::symlink:
        writer->AddLink(entry, fs::read_symlink(item.path()));
        break;
      default:
        writer->RejectSpecial(entry);
    }
  }
}

class ArchiveReader {
 public:
  explicit ArchiveReader(const std::string& path) : path_(path) {
    // Reads the central directory at the end, so that truncated archives are rejected.
    archive_read_support_format_zip_seekable(archive_.get());
    constexpr size_t kBlockSize = 64 * 1024;
    if (archive_read_open_filename(archive_.get(), path.c_str(), kBlockSize) != ARCHIVE_OK) Fail();
  }

  void CopyTo(StagingWriter* writer) {
    archive_entry* entry = nullptr;
    for (;;) {
      place_ = "after " + place_;
      const int result = archive_read_next_header(archive_.get(), &entry);
      if (result == ARCHIVE_EOF) return;
      if (result != ARCHIVE_OK && result != ARCHIVE_WARN) Fail();
      place_ = Text(archive_entry_pathname_utf8(entry), archive_entry_pathname(entry));
      CopyEntry(entry, writer);
    }
  }

 private:
  struct Closer {
    void operator()(archive* handle) const { archive_read_free(handle); }
  };

  // Prefers UTF-8: the C locale has no form for names outside ASCII, and libarchive then returns
  // null.
  static std::string Text(const char* utf8, const char* bytes) {
    if (utf8 != nullptr) return utf8;
    return bytes != nullptr ? bytes : "";
  }

  [[noreturn]] void Fail() const {
    const char* reason = archive_error_string(archive_.get());
    throw InvalidPackageError(path_, place_, reason != nullptr ? reason : "not a readable archive");
  }

  void CopyEntry(archive_entry* entry, StagingWriter* writer) {
    if (archive_entry_hardlink(entry) != nullptr) writer->RejectSpecial(place_);
    switch (archive_entry_filetype(entry)) {
      case AE_IFREG: {
        const auto size = static_cast<uint64_t>(archive_entry_size(entry));
        writer->AddFile(place_, archive_entry_perm(entry), size,
                        [this](char* buffer, size_t room) { return Read(buffer, room); });
        break;
      }
      case AE_IFDIR:
        writer->AddFolder(place_);
        break;
      case AE_IFLNK:
        writer->AddLink(place_,
                        Text(archive_entry_symlink_utf8(entry), archive_entry_symlink(entry)));
        break;
      default:
        writer->RejectSpecial(place_);
    }
  }

  size_t Read(char* buffer, size_t size) {
    const la_ssize_t count = archive_read_data(archive_.get(), buffer, size);
    if (count < 0) Fail();
    return static_cast<size_t>(count);
  }

  const std::string path_;
  std::string place_ = "start";
  std::unique_ptr<archive, Closer> archive_{archive_read_new()};
};

}  // namespace

void CopyPackage(const std::string& path, StagingWriter* writer) {
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) throw FileError(path);
  if (S_ISDIR(status.st_mode)) {
    CopyFolder(path, writer);
  } else if (S_ISREG(status.st_mode)) {
    writer->SetArchiveSize(static_cast<uint64_t>(status.st_size));
    const Utf8Locale locale;
    ArchiveReader(path).CopyTo(writer);
  } else {
    throw InvalidPackageError(path, "start", "neither a package file nor a folder");
  }
}

}  // namespace platform
