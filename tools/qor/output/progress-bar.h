// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_OUTPUT_PROGRESS_BAR_H_
#define QOR_TOOLS_QOR_OUTPUT_PROGRESS_BAR_H_

#include <chrono>
#include <cstddef>

namespace tools::cli {

// A progress bar on standard error; draws nothing where escape sequences are not allowed.
class ProgressBar {
 public:
  ProgressBar(std::size_t total, bool is_enabled);
  ProgressBar(const ProgressBar&) = delete;
  ProgressBar& operator=(const ProgressBar&) = delete;
  ~ProgressBar() { Clear(); }

  // Draws at a limited rate.
  void Show(std::size_t done);
  // Erases the bar, so that other lines can be printed.
  void Clear();

 private:
  const std::size_t total_;
  const bool on_;
  bool drawn_ = false;
  std::chrono::steady_clock::time_point last_{};
};

}  // namespace tools::cli

#endif
