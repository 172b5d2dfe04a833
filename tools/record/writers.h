// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORD_WRITERS_H_
#define QOR_TOOLS_RECORD_WRITERS_H_

#include <cstdint>
#include <ostream>
#include <string>

#include "record/record.h"

namespace tools::record {

// Writes the timeline of each command and the number of commands per outcome.
void WriteText(const Record& record, std::ostream& out);

// Writes JSON Lines: the events, each with its command ("command", from 1), the microseconds since
// the beginning of the record ("at") and since the command was sent ("sinceSent"), and the
// "outcome" in the last event of a command. ReadJsonLines() reads them.
void WriteJson(const Record& record, std::ostream& out);

// Writes the Trace Event Format for trace viewers: a process for each agent and in it a thread for
// each handler with its connections; commands are asynchronous events that contain their phases.
void WriteTrace(const Record& record, std::ostream& out);

// Writes a self-contained HTML page.
void WriteHtml(const Record& record, std::ostream& out);

// "850 us", "12.3 ms", "1.234 s"
std::string FormatDuration(std::int64_t microseconds);
// "2026-01-31 23:59:59.123 UTC"; empty for 0, an unknown time.
std::string FormatWallTime(std::int64_t microseconds);

}  // namespace tools::record

#endif
