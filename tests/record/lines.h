// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TESTS_RECORD_LINES_H_
#define QOR_TESTS_RECORD_LINES_H_

#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "record/event-reader.h"
#include "record/record.h"

namespace tools::record {

// A line of a record. `members` is empty or begins with a comma.
inline std::string Line(int time, const std::string& event, const std::string& members = "",
                        int process = 1) {
  return R"({"t":)" + std::to_string(time) + R"(,"pid":)" + std::to_string(process) +
         R"(,"event":")" + event + "\"" + members + "}\n";
}

inline std::string Sent(int time, const std::string& uuid, const std::string& type = "type",
                        int process = 1) {
  return Line(time, "sent", R"(,"uuid":")" + uuid + R"(","type":")" + type + R"(","payload":"{}")",
              process);
}

inline std::string Routed(int time, const std::string& uuid, const std::string& handler,
                          int process = 1) {
  return Line(time, "routed", R"(,"uuid":")" + uuid + R"(","handler":")" + handler + "\"", process);
}

inline std::string Launched(int time, const std::string& uuid, const std::string& handler,
                            int code = 0) {
  return Line(
      time, "launched",
      R"(,"uuid":")" + uuid + R"(","handler":")" + handler + R"(","code":)" + std::to_string(code));
}

inline std::string Accepted(int time, const std::string& uuid) {
  return Line(time, "accepted", R"(,"uuid":")" + uuid + "\"");
}

inline std::string Refused(int time, const std::string& uuid, int code) {
  return Line(time, "refused", R"(,"uuid":")" + uuid + R"(","code":)" + std::to_string(code));
}

inline std::string Connected(int time, const std::string& handler,
                             const std::string& instance = "i", bool connected = true) {
  return Line(time, connected ? "connected" : "disconnected",
              R"(,"handler":")" + handler + R"(","instance":")" + instance + "\"");
}

inline std::string Exited(int time, const std::string& handler, int status = 0, int signal = 0) {
  return Line(time, "exited",
              R"(,"handler":")" + handler + R"(","process":7,"status":)" + std::to_string(status) +
                  R"(,"signal":)" + std::to_string(signal) + R"(,"text":"exited with status )" +
                  std::to_string(status) + "\"");
}

inline std::string Delivered(int time, const std::string& uuid, const std::string& handler,
                             int code = 0) {
  return Line(time, "delivered",
              R"(,"uuid":")" + uuid + R"(","handler":")" + handler + R"(","instance":"i","code":)" +
                  std::to_string(code));
}

inline std::string Number(double value) {
  std::ostringstream text;
  text << value;
  return text.str();
}

inline std::string Extended(int time, const std::string& uuid, double seconds, bool granted) {
  return Line(time, "extension",
              R"(,"uuid":")" + uuid + R"(","handler":"","seconds":)" + Number(seconds) +
                  R"(,"granted":)" + (granted ? "true" : "false"));
}

inline std::string Answered(int time, const std::string& uuid, const std::string& handler,
                            int status = 0, int process = 1) {
  return Line(time, "answered",
              R"(,"uuid":")" + uuid + R"(","handler":")" + handler + R"(","status":)" +
                  std::to_string(status) + R"(,"result":"the result","error":"the error")",
              process);
}

inline std::string TimedOut(int time, const std::string& uuid, const std::string& limit) {
  return Line(time, "timed-out", R"(,"uuid":")" + uuid + R"(","limit":")" + limit + "\"");
}

inline ReadEvents Read(const std::string& lines) {
  std::istringstream stream(lines);
  return ReadJsonLines(stream);
}

// Expects every line to be valid.
inline Record RecordOf(const std::string& lines) {
  ReadEvents read = Read(lines);
  for (const BadLine& line : read.bad_lines) ADD_FAILURE() << line.number << ": " << line.reason;
  return MakeRecord(std::move(read.events));
}

template <typename Writer>
std::string Written(Writer writer, const Record& record) {
  std::ostringstream out;
  writer(record, out);
  return out.str();
}

}  // namespace tools::record

#endif
