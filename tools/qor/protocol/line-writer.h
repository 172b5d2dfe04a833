// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_PROTOCOL_LINE_WRITER_H_
#define QOR_TOOLS_QOR_PROTOCOL_LINE_WRITER_H_

#include <Ecore.h>

#include <string>

namespace tools::cli {

// Writes whole lines to standard output, each at once, and knows when nobody reads them any more.
// Ecore must be running. SIGPIPE is ignored from then on.
class LineWriter {
 public:
  LineWriter();
  LineWriter(const LineWriter&) = delete;
  LineWriter& operator=(const LineWriter&) = delete;
  ~LineWriter();

  // Does nothing once it is closed.
  void Write(const std::string& line);
  bool IsClosed() const { return closed_; }

 private:
  bool closed_ = false;
  Ecore_Fd_Handler* watch_ = nullptr;
};

}  // namespace tools::cli

#endif
