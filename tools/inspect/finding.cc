// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/finding.h"

#include "text/printable.h"

namespace inspect {

std::string ToText(const Finding& finding) {
  const Place& place = finding.place;
  std::string result;
  if (!place.file.empty()) {
    result += text::Printable(place.file) + ":";
    if (place.line > 0) result += std::to_string(place.line) + ":";
    result += " ";
  }
  if (!place.key.empty()) result += text::Printable(place.key) + ": ";
  return result + text::Printable(finding.message);
}

}  // namespace inspect
