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

// No line may be longer, in bytes: 3 MiB, less than what a connection takes in one piece.
inline constexpr std::size_t kMaxLineSize = std::size_t{3} << 20;

// Reads lines from a file descriptor on the main loop, as they come.
class LineReader {
 public:
  // Called on the main loop, lines counted from 1, without their ends; the last may lack one.
  struct Events {
    std::function<void(int number, std::string_view line)> on_line;
    // In place of the line, once, as soon as that is known. It is not kept.
    std::function<void(int number)> on_too_long;
  };

  // Ecore must be running; the descriptor stays the caller's. A regular file does as well.
  LineReader(int fd, Events events);
  LineReader(const LineReader&) = delete;
  LineReader& operator=(const LineReader&) = delete;
  ~LineReader();

  // There is nothing more to come: the end, or an error.
  bool AtEnd() const { return handler_ == nullptr; }

 private:
  void Read();
  void Take(std::string_view bytes);
  void EndLine();

  const int fd_;
  const Events events_;
  Ecore_Fd_Handler* handler_;
  int number_ = 1;
  std::string line_;
  bool too_long_ = false;
};

}  // namespace tools::cli

#endif
