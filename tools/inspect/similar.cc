// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/similar.h"

#include <algorithm>
#include <cctype>
#include <cstddef>
#include <filesystem>
#include <numeric>
#include <system_error>
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

// Edit distance: the number of letters to add, remove, replace or swap with the next.
std::size_t Distance(const std::string& a, const std::string& b) {
  std::vector<std::vector<std::size_t>> rows(a.size() + 1, std::vector<std::size_t>(b.size() + 1));
  std::iota(rows[0].begin(), rows[0].end(), std::size_t{0});
  for (std::size_t i = 1; i <= a.size(); ++i) {
    rows[i][0] = i;
    for (std::size_t j = 1; j <= b.size(); ++j) {
      const std::size_t replaced = rows[i - 1][j - 1] + (a[i - 1] == b[j - 1] ? 0 : 1);
      rows[i][j] = std::min({replaced, rows[i - 1][j] + 1, rows[i][j - 1] + 1});
      if (i > 1 && j > 1 && a[i - 1] == b[j - 2] && a[i - 2] == b[j - 1])
        rows[i][j] = std::min(rows[i][j], rows[i - 2][j - 2] + 1);
    }
  }
  return rows[a.size()][b.size()];
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

std::string SimilarFile(const std::string& folder, const std::string& name) {
  std::vector<std::string> files;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(folder, error)) {
    files.push_back(entry.path().filename());
  }
  if (files.size() == 1) return files.front();
  std::sort(files.begin(), files.end());
  const auto similar = std::find_if(files.begin(), files.end(),
                                    [&name](const auto& file) { return IsNearMiss(file, name); });
  return similar != files.end() ? *similar : "";
}

}  // namespace tools::inspect
