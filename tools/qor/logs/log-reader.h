// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_LOGS_LOG_READER_H_
#define QOR_TOOLS_QOR_LOGS_LOG_READER_H_

#include <functional>
#include <optional>
#include <string>

#include "platform/linux/common/process-handle.h"

namespace tools::cli {

// Reads the log of an application from the beginning, the older file first, while it grows and is
// replaced. Misses lines when the log is replaced twice between two calls.
class LogReader {
 public:
  explicit LogReader(const std::string& app_id);

  // Continues with the lines written from now on.
  void SkipToEnd();

  // Passes the new complete lines, without their ends.
  void ReadLines(const std::function<void(const std::string& line)>& on_line);

 private:
  // Opens the file that follows the current one. Returns false when there is none.
  bool OpenNext();
  void Open(const std::string& path);
  bool IsCurrent(const std::string& path) const;
  void ReadFile(const std::function<void(const std::string& line)>& on_line);

  const std::string path_;
  const std::string older_path_;
  platform::UniqueFd file_;
  std::optional<platform::FileId> file_id_;
  std::string partial_line_;
};

}  // namespace tools::cli

#endif
