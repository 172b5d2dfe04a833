// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Lines of a record, read back and written in every form.

#include <sstream>

#include "record/event-reader.h"
#include "record/writers.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace tools::record;
  std::istringstream lines(fuzz::TextOf(data, size));
  ReadEvents read = ReadJsonLines(lines);
  for (const BadLine& line : read.bad_lines)
    fuzz::Require(!line.reason.empty(), "a line is refused for a reason");
  const std::size_t count = read.events.size();
  const Record record = MakeRecord(std::move(read.events));
  std::stringstream json;
  std::ostringstream out;
  WriteText(record, out);
  WriteTrace(record, out);
  WriteHtml(record, out);
  WriteJson(record, json);
  const ReadEvents again = ReadJsonLines(json);
  fuzz::Require(again.bad_lines.empty(), "what is written can be read");
  fuzz::Require(again.events.size() == count, "no event is lost");
  return 0;
}
