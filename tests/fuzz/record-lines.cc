// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Records: parsed, and written in every format.

#include <sstream>

#include "record/event-reader.h"
#include "record/writers.h"
#include "target.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  using namespace tools::record;
  std::istringstream lines(fuzz::TextOf(data, size));
  ReadEvents read = ReadJsonLines(lines);
  for (const BadLine& line : read.bad_lines)
    fuzz::Require(!line.reason.empty(), "a rejected line has a reason");
  const std::size_t count = read.events.size();
  const Record record = MakeRecord(std::move(read.events));
  std::stringstream json;
  std::ostringstream out;
  WriteText(record, out);
  WriteTrace(record, out);
  WriteHtml(record, out);
  WriteJson(record, json);
  const ReadEvents again = ReadJsonLines(json);
  fuzz::Require(again.bad_lines.empty(), "written records can be read");
  fuzz::Require(again.events.size() == count, "no event is lost");
  return 0;
}
