// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "process-status.h"

#include <unistd.h>

#include <cctype>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>
#include <string>

namespace chaos {

long ResidentKilobytes(pid_t pid) {
  std::ifstream file("/proc/" + std::to_string(pid) + "/statm");
  long size = 0;
  long resident = 0;
  file >> size >> resident;
  return resident * (sysconf(_SC_PAGESIZE) / 1024);
}

int ZombiesOf(pid_t parent) {
  int zombies = 0;
  for (const auto& entry : std::filesystem::directory_iterator("/proc")) {
    if (std::isdigit(static_cast<unsigned char>(entry.path().filename().string()[0])) == 0)
      continue;
    std::ifstream file(entry.path() / "stat");
    const std::string text{std::istreambuf_iterator<char>(file), {}};
    // The name is in parentheses and may contain any character, so the last one ends it.
    const auto end = text.rfind(')');
    if (end == std::string::npos) continue;
    std::istringstream rest(text.substr(end + 1));
    char state = ' ';
    pid_t owner = 0;
    if (rest >> state >> owner && state == 'Z' && owner == parent) ++zombies;
  }
  return zombies;
}

}  // namespace chaos
