// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_PROTOCOL_LINE_WRITER_H_
#define QOR_TOOLS_QOR_PROTOCOL_LINE_WRITER_H_

#include <Ecore.h>

#include <string>

namespace tools::cli {

// Writes lines to standard output, flushes each, and detects a closed output. Ecore must be
// initialized. Ignores SIGPIPE from then on.
class LineWriter {
 public:
  LineWriter();
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;
  ~LineWriter();

  // Does nothing after the output was closed.
  void Write(const std::string& line);
  bool IsClosed() const { return closed_; }

 private:
  bool closed_ = false;
  Ecore_Fd_Handler* watch_ = nullptr;
};

}  // namespace tools::cli

#endif
