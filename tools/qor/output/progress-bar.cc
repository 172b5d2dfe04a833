// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/output/progress-bar.h"

#include <unistd.h>

#include <iostream>
#include <string>

#include "qor/output/colour.h"

namespace tools::cli {

ProgressBar::ProgressBar(std::size_t total, bool is_enabled)
    : total_(total), on_(is_enabled && AllowsEscapes(STDERR_FILENO)) {}

void ProgressBar::Show(std::size_t done) {
  constexpr std::size_t kWidth = 40;
  constexpr std::chrono::milliseconds kRedrawInterval(100);
  const auto now = std::chrono::steady_clock::now();
  if (!on_ || (drawn_ && now - last_ < kRedrawInterval)) return;
  last_ = now;
  drawn_ = true;
  const std::size_t filled = done * kWidth / total_;
  std::cerr << "\r[" << std::string(filled, '#') << std::string(kWidth - filled, ' ') << "] "
            << done << "/" << total_ << std::flush;
}

void ProgressBar::Clear() {
  // Erases to the end of the line.
  if (drawn_) std::cerr << "\r\x1b[K" << std::flush;
  drawn_ = false;
}

}  // namespace tools::cli
