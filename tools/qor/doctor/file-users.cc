// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/doctor/file-users.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <system_error>

namespace tools::cli {

namespace {

namespace fs = std::filesystem;

bool HasOpen(const fs::path& process, const fs::path& file) {
  std::error_code error;
  for (fs::directory_iterator entry(process / "fd", error), end; !error && entry != end;
       entry.increment(error)) {
    std::error_code gone;
    if (fs::read_symlink(entry->path(), gone) == file) return true;
  }
  return false;
}

}  // namespace

std::optional<pid_t> UserOfFile(const std::string& path) {
  std::error_code error;
  const fs::path file = fs::canonical(path, error);
  if (error) return std::nullopt;
  for (const auto& process : fs::directory_iterator("/proc")) {
    const auto pid =
        static_cast<pid_t>(std::strtol(process.path().filename().c_str(), nullptr, 10));
    if (pid > 0 && HasOpen(process.path(), file)) return pid;
  }
  return std::nullopt;
}

std::set<std::string> ListeningSocketNames() {
  std::set<std::string> names;
  std::ifstream table("/proc/net/unix");
  std::string line;
  std::getline(table, line);
  while (std::getline(table, line)) {
    // Num RefCount Protocol Flags Type St Inode Path
    std::istringstream fields(line);
    std::string number, count, protocol, flags, type, state, inode, path;
    fields >> number >> count >> protocol >> flags >> type >> state >> inode;
    std::getline(fields >> std::ws, path);
    // __SO_ACCEPTCON of the kernel.
    constexpr char kListeningFlag[] = "00010000";
    if (flags == kListeningFlag) names.insert(path.substr(path.rfind('/') + 1));
  }
  return names;
}

}  // namespace tools::cli
