// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_LOGS_LIVE_LOG_H_
#define QOR_TOOLS_QOR_LOGS_LIVE_LOG_H_

#include <Ecore.h>

#include <string>

#include "qor/logs/log-reader.h"

namespace tools::cli {

// While it exists, copies what an application writes to standard error, from the main loop: each
// line with the application's id, safe for display.
class LiveLog {
 public:
  explicit LiveLog(const std::string& app_id);
  LiveLog(const LiveLog&) = delete;
  LiveLog& operator=(const LiveLog&) = delete;
  // Waits for what was written before, and copies it.
  ~LiveLog();

 private:
  void Copy();

  const std::string app_id_;
  LogReader reader_;
  Ecore_Timer* timer_;
};

}  // namespace tools::cli

#endif
