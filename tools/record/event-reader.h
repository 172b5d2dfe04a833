// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORD_EVENT_READER_H_
#define QOR_TOOLS_RECORD_EVENT_READER_H_

#include <istream>
#include <string>
#include <vector>

#include "record/event.h"

namespace tools::record {

// A line that is not a valid event.
struct BadLine {
  int number;
  std::string reason;
};

struct ReadEvents {
  // Sorted by time; events of equal time keep the order of the file.
  std::vector<Event> events;
  std::vector<BadLine> bad_lines;
};

// Reads JSON Lines. Ignores empty lines and unknown members, so that records of newer versions can
// be read. Invalid UTF-8 becomes U+FFFD.
ReadEvents ReadJsonLines(std::istream& lines);

}  // namespace tools::record

#endif
