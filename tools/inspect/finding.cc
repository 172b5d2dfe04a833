// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/finding.h"

namespace inspect {

std::string ToText(const Finding& finding) {
  const Place& place = finding.place;
  std::string text;
  if (!place.file.empty()) {
    text += place.file + ":";
    if (place.line > 0) text += std::to_string(place.line) + ":";
    text += " ";
  }
  if (!place.key.empty()) text += place.key + ": ";
  return text + finding.message;
}

}  // namespace inspect
