// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_PROGRESS_BAR_H_
#define QOR_TOOLS_QOR_OUTPUT_PROGRESS_BAR_H_

#include <chrono>
#include <cstddef>

namespace tools::cli {

// A line on standard error that fills up. Nothing at all when that is no terminal.
class ProgressBar {
 public:
  // `wanted`: whether there is anything to show on a terminal.
  ProgressBar(std::size_t total, bool wanted);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar() { Clear(); }

  // Draws, though not more often than an eye can follow.
  void Show(std::size_t done);
  // Makes room for other lines.
  void Clear();

 private:
  const std::size_t total_;
  const bool on_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point last_{};
};

}  // namespace tools::cli

#endif
