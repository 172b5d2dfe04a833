// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FUZZ_INPUT_H_
#define TESTS_FUZZ_INPUT_H_

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>

namespace fuzz {

// Consumes the bytes of an input from the front to make decisions. Past the end, numbers are 0 and
// texts empty.
class Input {
 public:
  Input(const uint8_t* data, size_t size) : next_(data), left_(size) {}

  bool IsOver() const { return left_ == 0; }

  uint8_t Byte() {
    if (left_ == 0) return 0;
    --left_;
    return *next_++;
  }

  // Returns a number below the limit; consumes as few bytes as possible.
  size_t Below(size_t limit) {
    size_t number = Byte();
    for (uint64_t reach = 256; reach < limit; reach *= 256) number = number * 256 + Byte();
    return number % limit;
  }

  // Consumes a length in one byte, and as many bytes.
  std::string Text() { return Take(Byte()); }
  std::string Rest() { return Take(left_); }

 private:
  std::string Take(size_t size) {
    size = std::min(size, left_);
    const std::string text(reinterpret_cast<const char*>(next_), size);
    next_ += size;
    left_ -= size;
    return text;
  }

  const uint8_t* next_;
  size_t left_;
};

}  // namespace fuzz

#endif
