// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "record/event-reader.h"

#include <rapidjson/error/en.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "json/json.h"
#include "text/utf8.h"

namespace tools::record {

namespace {

[[noreturn]] void Reject(const std::string& key, const char* expected) {
  throw std::invalid_argument("\"" + key + "\" is not " + expected);
}

const json::Value& Find(const json::Value& line, const char* key) {
  const auto found = line.FindMember(key);
  if (found == line.MemberEnd())
    throw std::invalid_argument("missing \"" + std::string(key) + "\"");
  return found->value;
}

void Set(std::string& target, const char* key, const json::Value& value) {
  if (!value.IsString()) Reject(key, "a string");
  target.assign(value.GetString(), value.GetStringLength());
}

void Set(std::int64_t& target, const char* key, const json::Value& value) {
  if (!value.IsInt64()) Reject(key, "an integer");
  target = value.GetInt64();
}

void Set(double& target, const char* key, const json::Value& value) {
  if (!value.IsNumber()) Reject(key, "a number");
  target = value.GetDouble();
  // The parser turns numbers beyond the range of a double into infinity.
  if (!std::isfinite(target)) Reject(key, "a finite number");
}

void Set(bool& target, const char* key, const json::Value& value) {
  if (!value.IsBool()) Reject(key, "a boolean");
  target = value.GetBool();
}

// Throws std::invalid_argument.
Event Parse(const std::string& bytes) {
  const std::string line_text = text::ValidUtf8(bytes);
  json::Document line;
  // Iterative: the nesting depth of a file must not determine the depth of the stack.
  line.Parse<rapidjson::kParseIterativeFlag>(line_text.data(), line_text.size());
  if (line.HasParseError()) {
    throw std::invalid_argument(std::string("invalid JSON: ") +
                                rapidjson::GetParseError_En(line.GetParseError()));
  }
  if (!line.IsObject()) throw std::invalid_argument("not a JSON object");
  Event event;
  std::string name;
  Set(event.time, "t", Find(line, "t"));
  // Differences of non-negative times cannot overflow.
  if (event.time < 0) Reject("t", "a non-negative integer");
  Set(event.process, "pid", Find(line, "pid"));
  Set(name, "event", Find(line, "event"));
  const auto kind = FindKind(name);
  if (!kind) throw std::invalid_argument("unknown event \"" + name + "\"");
  event.kind = *kind;
  for (const Member& member : MembersOf(event.kind)) {
    std::visit([&](auto field) { Set(event.*field, member.key, Find(line, member.key)); },
               member.field);
  }
  return event;
}

}  // namespace

ReadEvents ReadJsonLines(std::istream& lines) {
  ReadEvents read;
  std::string line;
  for (int number = 1; std::getline(lines, line); ++number) {
    if (line.find_first_not_of(" \t\r") == std::string::npos) continue;
    try {
      read.events.push_back(Parse(line));
    } catch (const std::invalid_argument& error) {
      read.bad_lines.push_back({number, error.what()});
    }
  }
  std::stable_sort(read.events.begin(), read.events.end(),
                   [](const Event& a, const Event& b) { return a.time < b.time; });
  return read;
}

}  // namespace tools::record
