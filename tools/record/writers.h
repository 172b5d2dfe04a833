// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORD_WRITERS_H_
#define QOR_TOOLS_RECORD_WRITERS_H_

#include <cstdint>
#include <ostream>
#include <string>

#include "record/record.h"

namespace tools::record {

// For people: the life of each command, and how many ended how.
void WriteText(const Record& record, std::ostream& out);

// JSON lines: the events, each with its command ("command", counted from 1), the microseconds since
// the beginning of the record ("at") and since the command was sent ("sinceSent"), and at the end
// of a command its "outcome". ReadJsonLines() reads them back.
void WriteJson(const Record& record, std::ostream& out);

// A file in the Trace Event Format for trace viewers: a process for each agent, in it a thread for
// each handler with its connections; commands as asynchronous events with their phases inside.
void WriteTrace(const Record& record, std::ostream& out);

// One page with all of it in it, for any browser, without a network.
void WriteHtml(const Record& record, std::ostream& out);

// "850 us", "12.3 ms", "1.234 s"
std::string FormatDuration(std::int64_t microseconds);
// "2026-01-31 23:59:59.123 UTC"; empty for 0, which stands for an unknown time.
std::string FormatWallTime(std::int64_t microseconds);

}  // namespace tools::record

#endif
