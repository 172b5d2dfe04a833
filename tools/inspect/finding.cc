// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/finding.h"

#include "text/printable.h"

namespace tools::inspect {

std::string ToText(const Finding& finding) {
  const Location& location = finding.location;
  std::string result;
  if (!location.file.empty()) {
    result += text::Printable(location.file) + ":";
    if (location.line > 0) result += std::to_string(location.line) + ":";
    result += " ";
  }
  if (!location.key.empty()) result += text::Printable(location.key) + ": ";
  return result + text::Printable(finding.message);
}

}  // namespace tools::inspect
