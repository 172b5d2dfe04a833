// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/config-text.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdio>
#include <memory>

namespace handlers {

namespace {

struct Closer {
  void operator()(std::FILE* file) const { std::fclose(file); }
};
using File = std::unique_ptr<std::FILE, Closer>;

// Nothing where the path leads to anything but a file. Its text is the package's: it may lead to a
// pipe, which must not make us wait until somebody writes to it.
File OpenFile(const std::string& path) {
  const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (descriptor < 0) return nullptr;
  struct stat status {};
  const bool is_file = fstat(descriptor, &status) == 0 && S_ISREG(status.st_mode);
  File file(is_file ? fdopen(descriptor, "rb") : nullptr);
  if (!file) close(descriptor);
  return file;
}

}  // namespace

YAML::Node LoadConfigText(const std::string& path) {
  const File file = OpenFile(path);
  std::string text;
  char block[4096];
  while (const std::size_t count = file ? std::fread(block, 1, sizeof block, file.get()) : 0) {
    text.append(block, count);
    if (text.size() > kLongestConfig) throw ConfigTooLong("the file is");
  }
  if (!file || std::ferror(file.get()) != 0) {
    throw YAML::Exception(YAML::Mark::null_mark(), "the file cannot be read");
  }
  return YAML::Load(text);
}

}  // namespace handlers
