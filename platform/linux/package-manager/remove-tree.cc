// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>

#include "platform/linux/package-manager/file-system.h"

namespace platform {
namespace {

struct Closer {
  void operator()(DIR* folder) const { closedir(folder); }
};
using UniqueDir = std::unique_ptr<DIR, Closer>;

UniqueDir OpenFolder(int parent, const char* name) {
  UniqueFd fd(openat(parent, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  UniqueDir folder(fd ? fdopendir(fd.Get()) : nullptr);
  if (folder != nullptr) fd.Release();
  return folder;
}

// Grants the owner all permissions on a folder. Applications may have removed them.
bool AllowChanges(int parent, const char* name) {
  const UniqueFd folder(openat(parent, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
  struct stat status {};
  if (!folder || fstat(folder.Get(), &status) != 0) return false;
  if ((status.st_mode & S_IRWXU) == S_IRWXU) return true;
  return chmod(("/proc/self/fd/" + std::to_string(folder.Get())).c_str(), S_IRWXU) == 0;
}

// Removes a tree from the bottom up. Keeps only the current folder open and passes single names to
// the system, so that neither descriptors nor PATH_MAX limit the depth.
class TreeRemover {
 public:
  explicit TreeRemover(const std::string& path) : path_(path) {}

  void Run() {
    Remove(AT_FDCWD, path_);
    while (folder_ != nullptr) {
      std::vector<std::string>& folders = levels_.back().folders;
      if (folders.empty()) {
        Leave();
      } else {
        const std::string name = std::move(folders.back());
        folders.pop_back();
        Remove(dirfd(folder_.get()), name);
      }
    }
  }

 private:
  struct Level {
    std::string name;
    dev_t device;
    ino_t inode;
    std::vector<std::string> folders;  // not removed yet
  };

  [[noreturn]] void Fail() const { throw FileError("cannot remove " + path_); }

  // Returns false for a folder.
  bool RemoveFile(int parent, const char* name) const {
    if (unlinkat(parent, name, 0) == 0 || errno == ENOENT) return true;
    if (errno != EISDIR) Fail();
    return false;
  }

  // Removes a file, or enters a folder and removes its files.
  void Remove(int parent, const std::string& name) {
    if (RemoveFile(parent, name.c_str())) return;
    if (!AllowChanges(parent, name.c_str())) Fail();
    UniqueDir folder = OpenFolder(parent, name.c_str());
    struct stat status {};
    if (folder == nullptr || fstat(dirfd(folder.get()), &status) != 0) Fail();
    folder_ = std::move(folder);
    Level& level = levels_.emplace_back(Level{name, status.st_dev, status.st_ino, {}});
    errno = 0;
    while (const dirent* entry = readdir(folder_.get())) {
      const char* const item = entry->d_name;
      if (std::strcmp(item, ".") != 0 && std::strcmp(item, "..") != 0 &&
          !RemoveFile(dirfd(folder_.get()), item))
        level.folders.emplace_back(item);
      errno = 0;
    }
    if (errno != 0) Fail();
  }

  // Removes the current folder, which is empty, and returns to its parent.
  void Leave() {
    const std::string name = levels_.back().name;
    levels_.pop_back();
    if (levels_.empty()) {
      folder_.reset();
    } else {
      folder_ = OpenFolder(dirfd(folder_.get()), "..");
      if (folder_ == nullptr) Fail();
      RequireAt(levels_.back());
    }
    const int parent = folder_ == nullptr ? AT_FDCWD : dirfd(folder_.get());
    if (unlinkat(parent, name.c_str(), AT_REMOVEDIR) != 0 && errno != ENOENT) Fail();
  }

  // Fails if the current folder is not `level`: ".." leads elsewhere when another process has moved
  // the folder that it was opened from.
  void RequireAt(const Level& level) const {
    struct stat status {};
    if (fstat(dirfd(folder_.get()), &status) != 0) Fail();
    if (status.st_dev == level.device && status.st_ino == level.inode) return;
    errno = ESTALE;
    Fail();
  }

  const std::string path_;
  UniqueDir folder_;  // of the last level
  std::vector<Level> levels_;
};

}  // namespace

void RemoveTree(const std::string& path) { TreeRemover(path).Run(); }

}  // namespace platform
