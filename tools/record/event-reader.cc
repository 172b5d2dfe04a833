// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "record/event-reader.h"

#include <rapidjson/document.h>
#include <rapidjson/encodedstream.h>
#include <rapidjson/error/en.h>
#include <rapidjson/memorystream.h>

#include <algorithm>
#include <cmath>
#include <stdexcept>

#include "text/utf8.h"

namespace tools::record {

namespace {

[[noreturn]] void Refuse(const std::string& key, const char* what) {
  throw std::invalid_argument("\"" + key + "\" is no " + what);
}

const rapidjson::Value& Find(const rapidjson::Value& line, const char* key) {
  const auto found = line.FindMember(key);
  if (found == line.MemberEnd()) throw std::invalid_argument("no \"" + std::string(key) + "\"");
  return found->value;
}

void Set(std::string& place, const char* key, const rapidjson::Value& value) {
  if (!value.IsString()) Refuse(key, "text");
  place.assign(value.GetString(), value.GetStringLength());
}

void Set(std::int64_t& place, const char* key, const rapidjson::Value& value) {
  if (!value.IsInt64()) Refuse(key, "integer");
  place = value.GetInt64();
}

void Set(double& place, const char* key, const rapidjson::Value& value) {
  if (!value.IsNumber()) Refuse(key, "number");
  place = value.GetDouble();
  // Digits of more than a double holds become infinity.
  if (!std::isfinite(place)) Refuse(key, "finite number");
}

void Set(bool& place, const char* key, const rapidjson::Value& value) {
  if (!value.IsBool()) Refuse(key, "truth value");
  place = value.GetBool();
}

// Throws std::invalid_argument.
Event Parse(const std::string& bytes) {
  const std::string line_text = text::ValidUtf8(bytes);
  rapidjson::Document line;
  // Iterative: what stands in a file must not decide how deep the stack gets.
  line.Parse<rapidjson::kParseIterativeFlag>(line_text.data(), line_text.size());
  if (line.HasParseError()) {
    throw std::invalid_argument(std::string("no JSON: ") +
                                rapidjson::GetParseError_En(line.GetParseError()));
  }
  if (!line.IsObject()) throw std::invalid_argument("no JSON object");
  Event event;
  std::string name;
  Set(event.time, "t", Find(line, "t"));
  // Then no difference of two times is beyond an integer.
  if (event.time < 0) Refuse("t", "time of the monotonic clock, which is not negative");
  Set(event.process, "pid", Find(line, "pid"));
  Set(name, "event", Find(line, "event"));
  if (!FindKind(name, &event.kind))
    throw std::invalid_argument("no event \"" + name + "\" is known");
  for (const Member& member : MembersOf(event.kind)) {
    std::visit([&](auto place) { Set(event.*place, member.key, Find(line, member.key)); },
               member.place);
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
