// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORD_EVENT_READER_H_
#define QOR_TOOLS_RECORD_EVENT_READER_H_

#include <istream>
#include <string>
#include <vector>

#include "record/event.h"

namespace tools::record {

// A line that is no event, and why.
struct BadLine {
  int number;
  std::string reason;
};

struct ReadEvents {
  // In the order of their times; as in the file where those are equal.
  std::vector<Event> events;
  std::vector<BadLine> bad_lines;
};

// Reads JSON lines. Members that it does not know are ignored, empty lines too; bytes that are no
// UTF-8 become U+FFFD.
ReadEvents ReadJsonLines(std::istream& lines);

}  // namespace tools::record

#endif
