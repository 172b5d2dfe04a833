// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/commands/payload.h"

#include <qor_agent.h>

#include <cerrno>
#include <cstdio>
#include <iostream>
#include <memory>
#include <system_error>

#include "json/text.h"
#include "qor/output/tool-error.h"
#include "text/printable.h"
#include "text/utf8.h"

namespace tools::cli {

namespace {

// Reads the file to its end. `name` is for messages; a null `file` is one that was not opened.
std::string ReadAll(std::FILE* file, const std::string& name) {
  std::string text;
  char block[64 * 1024];
  while (file != nullptr) {
    const std::size_t count = std::fread(block, 1, sizeof block, file);
    text.append(block, count);
    if (count < sizeof block) break;
  }
  if (file == nullptr || std::ferror(file) != 0) {
    throw ToolError(kUsage, "cannot read the payload: " + std::generic_category().message(errno),
                    "", {name, 0, ""});
  }
  return text;
}

}  // namespace

std::string ReadPayload(const std::string& argument, bool strict) {
  Location location;
  std::string payload = argument;
  if (argument == "-") {
    location.file = "standard input";
    payload = ReadAll(stdin, location.file);
  } else if (argument.rfind('@', 0) == 0) {
    location.file = argument.substr(1);
    const std::unique_ptr<std::FILE, decltype(&std::fclose)> file(
        std::fopen(location.file.c_str(), "rb"), std::fclose);
    payload = ReadAll(file.get(), location.file);
  }
  if (payload.empty()) return payload;
  if (const auto nul = payload.find('\0'); nul != std::string::npos) {
    throw ToolError(kUsage, "payload contains a NUL byte at byte " + std::to_string(nul + 1),
                    "only text can be sent", location);
  }
  if (payload.size() > QOR_AGENT_MAX_PAYLOAD) {
    throw ToolError(kUsage,
                    "payload of " + std::to_string(payload.size()) + " bytes (at most " +
                        std::to_string(QOR_AGENT_MAX_PAYLOAD) + " can be delivered)",
                    "pass large data in a file", location);
  }
  if (!text::IsValidUtf8(payload)) {
    throw ToolError(kUsage, "payload is not valid UTF-8", "only text can be sent", location);
  }
  const auto error = json::FindSyntaxError(payload);
  if (!error) return payload;
  location.line = error->line;
  const std::string message = "payload is not JSON: " + error->message + " (line " +
                              std::to_string(error->line) + ", column " +
                              std::to_string(error->column) + ")";
  if (strict) throw ToolError(kUsage, message, "omit --strict to send it unchanged", location);
  std::cerr << "qor: warning: "
            << text::Printable((location.file.empty() ? "" : location.file + ": ") + message)
            << "\n";
  return payload;
}

}  // namespace tools::cli
