// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/pack/package-archive.h"

#include <archive.h>
#include <archive_entry.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <charconv>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <memory>
#include <set>

#include "platform/linux/common/unix-socket.h"
#include "platform/linux/package-manager/file-system.h"
#include "platform/linux/package-manager/utf8-locale.h"
#include "qor/output/tool-error.h"

namespace tools::cli {

namespace {

namespace fs = std::filesystem;

// 1980-01-01 00:00:00 UTC, the first time in a zip archive.
constexpr std::time_t kFirstTime = 315532800;

std::time_t EntryTime() {
  const char* const text = std::getenv("SOURCE_DATE_EPOCH");
  if (text == nullptr) return kFirstTime;
  const char* const end = text + std::strlen(text);
  // Zip archives have times of 32 bits.
  std::uint32_t seconds = 0;
  const auto parsed = std::from_chars(text, end, seconds);
  if (parsed.ec != std::errc() || parsed.ptr != end || seconds < kFirstTime)
    throw ToolError(
        kUsage, "SOURCE_DATE_EPOCH is not a time from 1980 to 2106: \"" + std::string(text) + "\"",
        "set it to seconds since 1970, or unset it");
  return static_cast<std::time_t>(seconds);
}

// A file that is removed unless it is renamed.
class Draft {
 public:
  explicit Draft(const std::string& file)
      : path_(file + ".part"),
        fd_(open(path_.c_str(), O_CREAT | O_TRUNC | O_WRONLY | O_NOFOLLOW | O_CLOEXEC, 0666)) {
    if (!fd_) throw platform::FileError(path_);
  }
  Draft(const Draft&) = delete;
  Draft& operator=(const Draft&) = delete;
  ~Draft() { unlink(path_.c_str()); }

  int Fd() const { return fd_.Get(); }
  void RenameTo(const std::string& file) const { platform::Rename(path_, file); }

 private:
  const std::string path_;
  const platform::UniqueFd fd_;
};

class ArchiveWriter {
 public:
  // Writes to a descriptor. `file` is the name in errors.
  ArchiveWriter(int fd, const std::string& file) : file_(file), time_(EntryTime()) {
    Require(archive_write_set_format_zip(archive_.get()));
    Require(archive_write_open_fd(archive_.get(), fd));
  }

  // Returns the size of a file, 0 for others.
  std::int64_t Add(const fs::path& source, const std::string& path) {
    const std::unique_ptr<archive_entry, EntryCloser> entry(archive_entry_new());
    archive_entry_set_pathname(entry.get(), path.c_str());
    archive_entry_set_mtime(entry.get(), time_, 0);
    SetKind(entry.get(), source);
    Require(archive_write_header(archive_.get(), entry.get()));
    if (archive_entry_filetype(entry.get()) != AE_IFREG) return 0;
    WriteContent(source);
    return archive_entry_size(entry.get());
  }

  void Close() { Require(archive_write_close(archive_.get())); }

 private:
  struct Closer {
    void operator()(archive* handle) const { archive_write_free(handle); }
  };
  struct EntryCloser {
    void operator()(archive_entry* entry) const { archive_entry_free(entry); }
  };

  static void SetKind(archive_entry* entry, const fs::path& source) {
    const fs::file_status status = fs::symlink_status(source);
    if (fs::is_symlink(status)) {
      archive_entry_set_symlink(entry, fs::read_symlink(source).c_str());
      archive_entry_set_mode(entry, S_IFLNK | 0777);
    } else if (fs::is_directory(status)) {
      archive_entry_set_mode(entry, S_IFDIR | 0755);
    } else {
      const bool is_executable = (status.permissions() & fs::perms::owner_exec) != fs::perms::none;
      archive_entry_set_mode(entry, S_IFREG | (is_executable ? 0755 : 0644));
      archive_entry_set_size(entry, static_cast<la_int64_t>(fs::file_size(source)));
    }
  }

  void Require(la_ssize_t result) const {
    if (result >= ARCHIVE_OK) return;
    const char* const reason = archive_error_string(archive_.get());
    throw ToolError(kError, reason != nullptr ? reason : "cannot write the archive", "", {file_});
  }

  void WriteContent(const fs::path& source) {
    std::ifstream file(source, std::ios::binary);
    char buffer[64 * 1024];
    while (file.read(buffer, sizeof buffer), file.gcount() > 0)
      Require(archive_write_data(archive_.get(), buffer, static_cast<std::size_t>(file.gcount())));
    if (!file.eof()) throw platform::FileError(source);
  }

  const std::string file_;
  const std::time_t time_;
  const std::unique_ptr<archive, Closer> archive_{archive_write_new()};
};

}  // namespace

std::vector<PackedFile> WriteArchive(const std::string& folder, const std::string& file) {
  // The times in zip archives are local times.
  setenv("TZ", "UTC0", 1);
  tzset();
  const platform::Utf8Locale locale;
  std::set<std::string> paths;
  for (const fs::directory_entry& item : fs::recursive_directory_iterator(folder))
    paths.insert(item.path().lexically_relative(folder));
  const Draft draft(file);
  ArchiveWriter archive(draft.Fd(), file);
  std::vector<PackedFile> files;
  for (const std::string& path : paths) {
    const fs::path source = fs::path(folder) / path;
    const std::int64_t bytes = archive.Add(source, path);
    if (!fs::is_directory(fs::symlink_status(source))) files.push_back({path, bytes});
  }
  archive.Close();
  draft.RenameTo(file);
  return files;
}

}  // namespace tools::cli
