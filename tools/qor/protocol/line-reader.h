// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_PROTOCOL_LINE_READER_H_
#define QOR_TOOLS_QOR_PROTOCOL_LINE_READER_H_

#include <Ecore.h>

#include <cstddef>
#include <functional>
#include <string>
#include <string_view>

namespace tools::cli {

// In bytes. Less than the limit of a connection for one frame (4 MiB), so that every accepted
// command can be delivered.
inline constexpr std::size_t kMaxLineSize = std::size_t{3} << 20;

// Reads lines from a file descriptor on the main loop.
class LineReader {
 public:
  // Called on the main loop. Lines are counted from 1; the line end of the last one is optional.
  struct Events {
    std::function<void(int number, std::string_view line)> on_line;
    // Called once in place of on_line, as soon as the limit is exceeded. The line is discarded.
    std::function<void(int number)> on_too_long;
    // Called after the lines that were read at once.
    std::function<void()> on_pause = [] {};
  };

  // Ecore must be initialized. Borrows the descriptor, which may also be of a regular file. Throws
  // std::runtime_error when it cannot be watched.
  LineReader(int fd, Events events);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();

  // Whether the end or a read error was reached.
  bool AtEnd() const { return handler_ == nullptr; }

 private:
  void Read();
  void Append(std::string_view bytes);
  void EndLine();

  const int fd_;
  const Events events_;
  Ecore_Fd_Handler* handler_;
  int number_ = 1;
  std::string line_;
  bool is_too_long_ = false;
};

}  // namespace tools::cli

#endif
