// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/output/progress-bar.h"

#include <unistd.h>

#include <iostream>
#include <string>

namespace tools::cli {

ProgressBar::ProgressBar(std::size_t total, bool wanted)
    : total_(total), on_(wanted && isatty(STDERR_FILENO) != 0) {}

void ProgressBar::Show(std::size_t done) {
  constexpr std::size_t kWidth = 40;
  constexpr std::chrono::milliseconds kPause(100);
  const auto now = std::chrono::steady_clock::now();
  if (!on_ || (drawn_ && now - last_ < kPause)) return;
  last_ = now;
  drawn_ = true;
  const std::size_t filled = done * kWidth / total_;
  std::cerr << "\r[" << std::string(filled, '#') << std::string(kWidth - filled, ' ') << "] "
            << done << "/" << total_ << std::flush;
}

void ProgressBar::Clear() {
  // To the end of the line.
  if (drawn_) std::cerr << "\r\x1b[K" << std::flush;
  drawn_ = false;
}

}  // namespace tools::cli
