// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/similar.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <numeric>
#include <vector>

namespace tools::inspect {

namespace {

// Short names within an edit distance of 2 are often different words.
constexpr std::size_t kLongTextSize = 8;

std::string LettersOnly(const std::string& text) {
  std::string letters;
  for (const char c : text) {
    const auto byte = static_cast<unsigned char>(c);
    if (std::isalnum(byte) != 0 || byte >= 0x80) {
      letters += static_cast<char>(std::tolower(byte));
    }
  }
  return letters;
}

// Edit distance: the number of letters to add, remove or replace.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::size_t> row(b.size() + 1);
  std::iota(row.begin(), row.end(), std::size_t{0});
  for (std::size_t i = 0; i < a.size(); ++i) {
    std::size_t diagonal = row[0];
    row[0] = i + 1;
    for (std::size_t j = 0; j < b.size(); ++j) {
      const std::size_t replaced = diagonal + (a[i] == b[j] ? 0 : 1);
      diagonal = row[j + 1];
      row[j + 1] = std::min({replaced, row[j] + 1, row[j + 1] + 1});
    }
  }
  return row.back();
}

}  // namespace

bool IsNearMiss(const std::string& text, const std::string& expected) {
  if (text == expected || text.empty() || expected.empty()) return false;
  const std::string letters = LettersOnly(text);
  if (!letters.empty() && letters == LettersOnly(expected)) return true;
  const std::size_t allowed = expected.size() < kLongTextSize ? 1 : 2;
  const auto [shorter, longer] = std::minmax({text.size(), expected.size()});
  return longer - shorter <= allowed && Distance(text, expected) <= allowed;
}

}  // namespace tools::inspect
