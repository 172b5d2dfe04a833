// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "support/memory.h"

#include <fstream>
#include <sstream>

namespace bench {

namespace {

// Reads a line of "Name:   123 kB".
bool ReadBytes(const std::string& line, const std::string& name, double& bytes) {
  if (line.rfind(name + ":", 0) != 0) return false;
  bytes = std::stod(line.substr(name.size() + 1)) * 1024;
  return true;
}

// Reads the first line of a mapping: "from-to permissions offset device inode path". Returns false
// for other lines.
bool ReadHead(const std::string& line, Mapping& mapping) {
  std::istringstream words(line);
  std::string range, permissions, offset, device, inode, path;
  words >> range >> permissions >> offset >> device >> inode >> path;
  if (range.find('-') == std::string::npos || inode.empty()) return false;
  mapping = {};
  if (!path.empty() && path[0] == '/') mapping.file = path.substr(path.rfind('/') + 1);
  return true;
}

}  // namespace

std::vector<Mapping> Mappings() {
  std::ifstream file("/proc/self/smaps");
  std::vector<Mapping> mappings;
  for (std::string line; std::getline(file, line);) {
    Mapping mapping;
    if (ReadHead(line, mapping)) {
      mappings.push_back(mapping);
    } else {
      ReadBytes(line, "Rss", mappings.back().resident) ||
          ReadBytes(line, "Anonymous", mappings.back().anonymous);
    }
  }
  return mappings;
}

double OwnMemory() {
  std::ifstream file("/proc/self/smaps_rollup");
  double bytes = 0;
  for (std::string line; std::getline(file, line);) {
    if (ReadBytes(line, "Anonymous", bytes)) break;
  }
  return bytes;
}

}  // namespace bench
