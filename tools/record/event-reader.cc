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

namespace qor::record {

namespace {

// The length of the UTF-8 character at the beginning of `bytes`; 0 where there is none.
std::size_t CharacterLength(const std::string& bytes, std::size_t at) {
  const auto byte = [&](std::size_t offset) -> unsigned {
    return at + offset < bytes.size() ? static_cast<unsigned char>(bytes[at + offset]) : 0;
  };
  const auto continues = [&](std::size_t offset) { return (byte(offset) & 0xC0u) == 0x80u; };
  const unsigned lead = byte(0);
  if (lead < 0x80) return 1;
  if (lead < 0xC2 || lead > 0xF4 || !continues(1)) return 0;
  if (lead < 0xE0) return 2;
  if (!continues(2)) return 0;
  const unsigned second = byte(1);
  if (lead < 0xF0) {
    const bool overlong = lead == 0xE0 && second < 0xA0;
    const bool surrogate = lead == 0xED && second > 0x9F;
    return overlong || surrogate ? 0 : 3;
  }
  const bool overlong = lead == 0xF0 && second < 0x90;
  const bool beyond = lead == 0xF4 && second > 0x8F;
  return overlong || beyond || !continues(3) ? 0 : 4;
}

// Payloads and results are the bytes of others.
std::string AsUtf8(const std::string& bytes) {
  std::string text;
  for (std::size_t at = 0; at < bytes.size();) {
    const std::size_t length = CharacterLength(bytes, at);
    text += length == 0 ? "\xEF\xBF\xBD" : bytes.substr(at, length);
    at += std::max<std::size_t>(length, 1);
  }
  return text;
}

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
Event Parse(const std::string& text) {
  const std::string line_text = AsUtf8(text);
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

}  // namespace qor::record
