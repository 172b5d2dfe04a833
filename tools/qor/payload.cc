// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "payload.h"

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <memory>
#include <system_error>

#include "failure.h"
#include "json-text.h"
#include "text/printable.h"

namespace qor {

namespace {

// The whole of it; the name is for people.
std::string ReadAll(std::FILE* file, const std::string& name) {
  std::string text;
  char block[64 * 1024];
  while (file != nullptr) {
    const std::size_t count = std::fread(block, 1, sizeof block, file);
    text.append(block, count);
    if (count < sizeof block) break;
  }
  if (file == nullptr || std::ferror(file) != 0) {
    throw Failure(kUsage, "cannot be read: " + std::generic_category().message(errno), "",
                  {name, 0, ""});
  }
  return text;
}

}  // namespace

std::string ReadPayload(const std::string& word, bool strict) {
  Place place;
  std::string payload = word;
  if (word == "-") {
    place.file = "standard input";
    payload = ReadAll(stdin, place.file);
  } else if (word.rfind('@', 0) == 0) {
    place.file = word.substr(1);
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(
        std::fopen(place.file.c_str(), "rb"), std::fclose);
    payload = ReadAll(file.get(), place.file);
  }
  if (payload.empty()) return payload;
  if (const auto nul = payload.find('\0'); nul != std::string::npos) {
    throw Failure(kUsage, "the payload holds a NUL byte, at byte " + std::to_string(nul + 1),
                  "Only text can be sent.", place);
  }
  const auto fault = FindJsonFault(payload);
  if (!fault) return payload;
  place.line = fault->line;
  const std::string where =
      " (line " + std::to_string(fault->line) + ", column " + std::to_string(fault->column) + ")";
  const std::string what = "the payload is not JSON: " + fault->what + where;
  if (strict) throw Failure(kUsage, what, "Without --strict it is sent as it is.", place);
  std::cerr << "qor: warning: "
            << text::Printable((place.file.empty() ? "" : place.file + ": ") + what) << "\n";
  return payload;
}

}  // namespace qor
