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

bool IsBlank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n' || c == '\0'; }

bool IsIndicator(char c, char next) {
  switch (c) {
    case '\n':
    case '\r':
    case ',':
    case '[':
    case ']':
    case '{':
    case '}':
    case ':':
    case '?':
    case '&':
    case '*':
    case '!':
    case '|':
    case '>':
    case '%':
    case '"':
    case '\'':
      return true;
    case '-':
      return IsBlank(next);
    default:
      return false;
  }
}

// UTF-16 and UTF-32, as the YAML library tells them.
bool HasWideCharacters(const std::string& text) {
  return text.compare(0, 2, "\xFE\xFF") == 0 || text.compare(0, 2, "\xFF\xFE") == 0 ||
         text.find('\0') < sizeof(char32_t);
}

}  // namespace

std::string ReadConfigText(const std::string& path) {
  const File file = OpenFile(path);
  std::string text;
  char block[4096];
  while (const std::size_t count = file ? std::fread(block, 1, sizeof block, file.get()) : 0) {
    text.append(block, count);
    if (text.size() > kLongestConfig) {
      throw ConfigTooLong("the file is longer than " + std::to_string(kLongestConfig) + " bytes");
    }
  }
  if (!file || std::ferror(file.get()) != 0) {
    throw YAML::Exception(YAML::Mark::null_mark(), "the file cannot be read");
  }
  return text;
}

std::size_t ConfigWeight(const std::string& text) {
  std::size_t weight = text.size();
  for (std::size_t i = 0; i < text.size(); ++i) {
    // A std::string ends with a NUL that may be read.
    if (IsIndicator(text[i], text[i + 1])) weight += kIndicatorWeight;
  }
  // Wide characters are converted first, and may become longer by that.
  return HasWideCharacters(text) ? 2 * weight : weight;
}

void TakeConfigWeight(std::size_t weight, std::size_t& left) {
  if (weight > left) {
    throw ConfigTooLong("the configuration files of the package weigh more than " +
                        std::to_string(kMaxConfigWeight) + " together (1 for each byte, and " +
                        std::to_string(kIndicatorWeight) + " for each line or indicator)");
  }
  left -= weight;
}

}  // namespace handlers
