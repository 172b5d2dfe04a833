// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_COLOUR_H_
#define QOR_TOOLS_QOR_OUTPUT_COLOUR_H_

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace tools::cli {

// Colours for terminals. Plain text elsewhere, and if NO_COLOR is set and not empty.
class Colour {
 public:
  explicit Colour(int fd = STDOUT_FILENO) : on_(isatty(fd) == 1 && IsEnabled()) {}

  std::string Green(const std::string& text) const { return Wrap("32", text); }
  std::string Yellow(const std::string& text) const { return Wrap("33", text); }
  std::string Red(const std::string& text) const { return Wrap("31", text); }
  std::string Bold(const std::string& text) const { return Wrap("1", text); }

 private:
  static bool IsEnabled() {
    const char* no_color = std::getenv("NO_COLOR");
    return no_color == nullptr || *no_color == '\0';
  }
  std::string Wrap(const char* code, const std::string& text) const {
    return on_ ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
  }

  bool on_;
};

}  // namespace tools::cli

#endif
