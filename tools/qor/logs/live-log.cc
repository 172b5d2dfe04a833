// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/logs/live-log.h"

#include <chrono>
#include <iostream>
#include <thread>

#include "text/printable.h"

namespace tools::cli {

namespace {

constexpr double kPollSeconds = 0.05;

// Lines reach the log with a delay, because another process writes it.
constexpr std::chrono::milliseconds kLastLines{50};

}  // namespace

LiveLog::LiveLog(const std::string& app_id)
    : app_id_(app_id),
      reader_(app_id),
      timer_(ecore_timer_add(
          kPollSeconds,
          [](void* self) -> Eina_Bool {
            static_cast<LiveLog*>(self)->Copy();
            return ECORE_CALLBACK_RENEW;
          },
          this)) {
  reader_.SkipToEnd();
}

LiveLog::~LiveLog() {
  if (timer_ != nullptr) ecore_timer_del(timer_);
  // No event says that the writer has written all: it lives as long as the application.
  std::this_thread::sleep_for(kLastLines);
  Copy();
}

void LiveLog::Copy() {
  reader_.ReadLines([this](const std::string& line) {
    std::cerr << app_id_ << ": " << text::Printable(line) << std::endl;
  });
}

}  // namespace tools::cli
