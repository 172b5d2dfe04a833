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

// Returns null unless the path is a regular file. The path comes from the package and may be a
// pipe: O_NONBLOCK prevents waiting for a writer.
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

// Detects UTF-16 and UTF-32 as the YAML library does.
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
    if (text.size() > kMaxConfigBytes) {
      throw ConfigLimitError("the file exceeds " + std::to_string(kMaxConfigBytes) + " bytes");
    }
  }
  if (!file || std::ferror(file.get()) != 0) {
    throw YAML::Exception(YAML::Mark::null_mark(), "the file cannot be read");
  }
  return text;
}

std::size_t ParseCost(const std::string& text) {
  std::size_t cost = text.size();
  for (std::size_t i = 0; i < text.size(); ++i) {
    // The last access reads the terminating NUL.
    if (IsIndicator(text[i], text[i + 1])) cost += kIndicatorCost;
  }
  // The YAML library converts wide characters to UTF-8, which may be longer.
  return HasWideCharacters(text) ? 2 * cost : cost;
}

void ChargeParseCost(std::size_t cost, std::size_t& remaining) {
  if (cost > remaining) {
    throw ConfigLimitError(
        "the configuration files of the package exceed the parse cost limit of " +
        std::to_string(kMaxParseCost) + " (1 per byte and " + std::to_string(kIndicatorCost) +
        " per line or indicator)");
  }
  remaining -= cost;
}

}  // namespace handlers
