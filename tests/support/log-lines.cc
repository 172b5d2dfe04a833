// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "log-lines.h"

#include <algorithm>
#include <regex>

#include "fake-platform.h"

namespace support {
namespace {

constexpr char kAnyLineText[] = "<line>";

std::string LineText(int line) { return line == kAnyLine ? kAnyLineText : std::to_string(line); }

std::string Location(const std::string& file, const std::string& function, int line) {
  return file + ": " + function + ": " + LineText(line) + " > ";
}

// Replaces the line number at the start of a text, if any.
std::string WithAnyLine(const std::string& text) {
  static const std::regex number(R"(^((?:\x1b\[0;3[0-9]m)?[^ ]+: [^ ]+: |[^ ]+: [^ (]+\()[0-9]+)");
  return std::regex_replace(text, number, std::string("$1") + kAnyLineText);
}

}  // namespace

std::string EnterLine(const std::string& file, const std::string& function, int line) {
  return "\033[0;36m" + Location(file, function, line) + "Enter \033[0;m";
}

std::string ExitLine(const std::string& file, const std::string& function) {
  return "\033[0;36m" + file + ": " + function + " > Exit\033[0;m";
}

std::string InfoLine(const std::string& file, const std::string& function, int line,
                     const std::string& message) {
  return "\033[0;32m" + Location(file, function, line) + "\033[0;m" + message;
}

std::string ErrorLine(const std::string& file, const std::string& function, int line,
                      const std::string& message) {
  return "\033[0;31m" + Location(file, function, line) + "\033[0;m" + message;
}

std::string PlainLine(const std::string& file, const std::string& function, int line,
                      const std::string& message) {
  return Location(file, function, line) + message;
}

std::string StubLine(const std::string& function, const std::string& message) {
  return "stub.cc: " + function + "(" + kAnyLineText + ") > " + message;
}

std::vector<std::string> LoggedTexts(log_priority priority, const std::string& tag) {
  std::vector<std::string> texts;
  for (const fake::LogLine& line : fake::Log()) {
    if (line.priority == priority && line.tag == tag) texts.push_back(line.text);
  }
  return texts;
}

int CountLogged(log_priority priority, const std::string& text, const std::string& tag) {
  const bool any_line = text.find(kAnyLineText) != std::string::npos;
  const auto texts = LoggedTexts(priority, tag);
  return static_cast<int>(std::count_if(texts.begin(), texts.end(), [&](const std::string& logged) {
    return (any_line ? WithAnyLine(logged) : logged) == text;
  }));
}

}  // namespace support
