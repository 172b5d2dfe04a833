// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_COLOUR_H_
#define QOR_TOOLS_QOR_OUTPUT_COLOUR_H_

#include <unistd.h>

#include <cstdlib>
#include <string>

namespace tools::cli {

// Returns whether escape sequences may be written: only to terminals, and not if NO_COLOR is set
// and not empty or TERM is "dumb".
inline bool AllowsEscapes(int fd) {
  const char* no_color = std::getenv("NO_COLOR");
  const char* term = std::getenv("TERM");
  return isatty(fd) == 1 && (no_color == nullptr || *no_color == '\0') &&
         (term == nullptr || std::string(term) != "dumb");
}

// Colours for standard output; plain text where escape sequences are not allowed.
class Colour {
 public:
  Colour() : on_(AllowsEscapes(STDOUT_FILENO)) {}

  std::string Green(const std::string& text) const { return Wrap("32", text); }
  std::string Yellow(const std::string& text) const { return Wrap("33", text); }
  std::string Red(const std::string& text) const { return Wrap("31", text); }
  std::string Bold(const std::string& text) const { return Wrap("1", text); }

 private:
  std::string Wrap(const char* code, const std::string& text) const {
    return on_ ? std::string("\033[") + code + "m" + text + "\033[0m" : text;
  }

  bool on_;
};

}  // namespace tools::cli

#endif
