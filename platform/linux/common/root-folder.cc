// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/root-folder.h"

#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <system_error>

namespace platform {
namespace {

constexpr mode_t kOnlyOwner = 0700;

[[noreturn]] void Throw(int reason, const std::string& text) {
  throw std::system_error(reason, std::generic_category(), text);
}

std::string Environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? std::string() : std::string(value);
}

// RootPath() of the last absolute value of the variable.
struct CachedRoot {
  std::mutex mutex;
  std::string variable;
  std::string path;
};

CachedRoot& GetCachedRoot() {
  // Never destroyed, because destructors of static objects may use it.
  static CachedRoot* const cached = new CachedRoot;
  return *cached;
}

std::string HomeFolder() {
  std::string home = Environment("HOME");
  if (!home.empty()) return home;
  passwd entry{};
  passwd* found = nullptr;
  char texts[4096];
  if (getpwuid_r(getuid(), &entry, texts, sizeof texts, &found) == 0 && found != nullptr)
    return found->pw_dir;
  return "/";
}

// Returns 0 when the folder exists now, else the errno value of the failure.
int MakeFolder(const std::string& path) {
  if (mkdir(path.c_str(), kOnlyOwner) == 0) return 0;
  const int reason = errno;
  struct stat status {};
  if (stat(path.c_str(), &status) != 0) return reason;
  return S_ISDIR(status.st_mode) ? 0 : ENOTDIR;
}

void RequireFolderAndParents(const std::string& path) {
  // The common case, in one system call.
  struct stat status {};
  if (stat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode)) return;
  size_t end = 0;
  do {
    end = path.find('/', end + 1);
    const std::string part = path.substr(0, end);
    if (const int reason = MakeFolder(part); reason != 0)
      Throw(reason, "cannot create folder " + path + " (at " + part + ")");
  } while (end != std::string::npos);
}

bool IsWritableByOthers(const struct stat& status) {
  // Members of root's group usually have root's rights. A user's private group has the number of
  // the user and no other member; where such groups are the default, the umask keeps folders
  // writable by them.
  const bool is_trusted_group = status.st_gid == 0 || status.st_gid == geteuid();
  return (status.st_mode & S_IWOTH) != 0 || ((status.st_mode & S_IWGRP) != 0 && !is_trusted_group);
}

struct PathSearch {
  // A part of the path in which others may rename entries; empty when there is none.
  std::filesystem::path replaceable_in;
  // The first symbolic link of the path; empty when there is none or a part is missing.
  std::filesystem::path link;
};

PathSearch SearchUpToLink(const std::filesystem::path& path) {
  std::filesystem::path part;
  struct stat status {};  // of the part before
  for (const std::filesystem::path& name : path) {
    if (name.empty()) break;
    // In a sticky folder only the owner of an entry may replace it.
    if (IsWritableByOthers(status) && (status.st_mode & S_ISVTX) == 0) return {part, {}};
    part /= name;
    if (lstat(part.c_str(), &status) != 0) return {};
    if (S_ISLNK(status.st_mode)) return {{}, part};
  }
  return {};
}

void RequireSafeParents(const std::string& root) {
  const std::string parent = ReplaceableIn(root);
  if (parent.empty()) return;
  Throw(EPERM, "others may replace the root folder " + root + ", since they may write to " +
                   parent + ", " + ProtectionHint(parent, "go-w"));
}

void RequireOwner(const std::string& root) {
  struct stat status {};
  if (stat(root.c_str(), &status) != 0) Throw(errno, "cannot inspect folder " + root);
  if (status.st_uid != geteuid()) {
    Throw(EPERM, "the root folder " + root + " belongs to user " + std::to_string(status.st_uid) +
                     ", set QOR_PLATFORM_ROOT to a folder of your own");
  }
  if ((status.st_mode & (S_IWGRP | S_IWOTH)) != 0) {
    Throw(EPERM,
          "others may write to the root folder " + root + ", " + ProtectionHint(root, "700"));
  }
}

// A link could lead out of the root.
void RequireNoLinks(const std::string& root, const std::string& relative) {
  size_t end = 0;
  do {
    end = relative.find('/', end + 1);
    const std::string part = root + "/" + relative.substr(0, end);
    struct stat status {};
    if (lstat(part.c_str(), &status) == 0 && S_ISLNK(status.st_mode)) {
      Throw(ELOOP, "folder " + part + " is a symbolic link, remove it");
    }
  } while (end != std::string::npos);
}

}  // namespace

std::string ReplaceableIn(const std::string& root) {
  std::filesystem::path path = root;
  constexpr int kMaxLinks = 40;  // as in the kernel
  for (int i = 0; i < kMaxLinks; ++i) {
    const auto [replaceable_in, link] = SearchUpToLink(path);
    if (link.empty()) return replaceable_in;
    const auto target = link.parent_path() / std::filesystem::read_symlink(link);
    path = (target / path.lexically_relative(link)).lexically_normal();
  }
  return {};
}

std::string ProtectionHint(const std::string& folder, const std::string& mode) {
  struct stat status {};
  const bool is_own = stat(folder.c_str(), &status) == 0 && status.st_uid == geteuid();
  return is_own && (status.st_mode & S_ISVTX) == 0
             ? "run: chmod " + mode + " " + folder
             : "set QOR_PLATFORM_ROOT to a folder of your own";
}

std::string RootPath() {
  const std::string variable = Environment("QOR_PLATFORM_ROOT");
  // Called for every database query. Only absolute paths are cached: others depend on the working
  // folder.
  CachedRoot& cached = GetCachedRoot();
  const std::lock_guard<std::mutex> lock(cached.mutex);
  if (!variable.empty() && variable == cached.variable) return cached.path;
  std::filesystem::path path = variable;
  if (path.empty()) {
    path = Environment("XDG_DATA_HOME");
    if (path.empty()) path = std::filesystem::path(HomeFolder()) / ".local/share";
    path /= "qor-platform";
  }
  std::string text = std::filesystem::absolute(path).lexically_normal().string();
  while (text.size() > 1 && text.back() == '/') text.pop_back();
  if (variable[0] == '/') {
    cached.path = text;
    cached.variable = variable;
  }
  return text;
}

std::string RootFolder() {
  const std::string root = RootPath();
  RequireSafeParents(root);
  RequireFolderAndParents(root);
  RequireOwner(root);
  if (access(root.c_str(), W_OK | X_OK) != 0) Throw(errno, "cannot write to folder " + root);
  return root;
}

std::string FolderBelowRoot(const std::string& relative) {
  const std::string root = RootFolder();
  RequireNoLinks(root, relative);
  std::string path = root + "/" + relative;
  RequireFolderAndParents(path);
  return path;
}

}  // namespace platform
