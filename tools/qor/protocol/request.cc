// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "qor/protocol/request.h"

#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>

#include <algorithm>
#include <cstdint>
#include <initializer_list>

#include "json/json.h"
#include "json/text.h"

namespace tools::cli {

namespace {

using json::Value;

std::string TextOf(const Value& value) { return {value.GetString(), value.GetStringLength()}; }

// Rejects unknown and duplicate members.
void RequireMembers(const Value& object, std::initializer_list<std::string_view> allowed) {
  for (auto member = object.MemberBegin(); member != object.MemberEnd(); ++member) {
    const std::string name = TextOf(member->name);
    if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
      std::string names;
      for (const auto key : allowed) names += (names.empty() ? "" : ", ") + std::string(key);
      throw ProtocolError("unknown member (expected one of: " + names + ")", name);
    }
    if (object.FindMember(member->name) != member) throw ProtocolError("duplicate member", name);
  }
}

// The library takes C strings, so a NUL character would cut the value short.
std::string CStringOf(const Value& value, const char* key) {
  if (!value.IsString()) throw ProtocolError("must be a string", key);
  const std::string text = TextOf(value);
  if (text.find('\0') != std::string::npos) throw ProtocolError("contains a NUL character", key);
  return text;
}

std::string NonEmptyMember(const Value& object, const char* key) {
  const std::string name = CStringOf(object[key], key);
  if (name.empty()) throw ProtocolError("must not be empty", key);
  return name;
}

// Copies the value of "payload" without white space. Numbers are copied as text, because a double
// does not keep every digit.
class PayloadExtractor : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, PayloadExtractor> {
 public:
  std::string Text() const { return text_.GetString(); }

  bool Null() { return !is_payload_ || writer_.Null(); }
  bool Bool(bool value) { return !is_payload_ || writer_.Bool(value); }
  bool RawNumber(const char* digits, rapidjson::SizeType size, bool) {
    return !is_payload_ || writer_.RawValue(digits, size, rapidjson::kNumberType);
  }
  bool String(const char* text, rapidjson::SizeType size, bool) {
    return !is_payload_ || writer_.String(text, size);
  }
  bool Key(const char* name, rapidjson::SizeType size, bool) {
    if (depth_ > 1) return !is_payload_ || writer_.Key(name, size);
    is_payload_ = std::string_view(name, size) == "payload";
    return true;
  }
  bool StartObject() { return ++depth_ == 1 || !is_payload_ || writer_.StartObject(); }
  bool EndObject(rapidjson::SizeType) {
    return --depth_ == 0 || !is_payload_ || writer_.EndObject();
  }
  bool StartArray() { return ++depth_ == 1 || !is_payload_ || writer_.StartArray(); }
  bool EndArray(rapidjson::SizeType) { return --depth_ == 0 || !is_payload_ || writer_.EndArray(); }

 private:
  json::StringBuffer text_;
  json::Writer<> writer_{text_};
  int depth_ = 0;
  bool is_payload_ = false;
};

std::string PayloadOf(const Value& value, std::string_view line) {
  if (value.IsString()) return CStringOf(value, "payload");
  PayloadExtractor payload;
  rapidjson::MemoryStream stream(line.data(), line.size());
  rapidjson::GenericReader<rapidjson::UTF8<>, rapidjson::UTF8<>, json::Allocator> reader;
  reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag>(stream,
                                                                                       payload);
  return payload.Text();
}

// Far beyond any use, and far from an overflow of a sum of times.
constexpr std::int64_t kMaxTimeoutMs = 1'000'000'000'000;

std::chrono::milliseconds TimeoutOf(const Value& value) {
  if (!value.IsInt64() || value.GetInt64() <= 0 || value.GetInt64() > kMaxTimeoutMs) {
    throw ProtocolError("must be a positive integer (milliseconds)", "timeout");
  }
  return std::chrono::milliseconds(value.GetInt64());
}

qor_agent_policy_e PolicyOf(const Value& value) {
  if (value == "at-most-once") return QOR_AGENT_AT_MOST_ONCE;
  if (value == "at-least-once") return QOR_AGENT_AT_LEAST_ONCE;
  throw ProtocolError("must be \"at-most-once\" or \"at-least-once\"", "policy");
}

bool BoolOf(const Value& value, const char* key) {
  if (!value.IsBool()) throw ProtocolError("must be true or false", key);
  return value.GetBool();
}

CommandRequest ParseCommand(const Value& object, std::string_view line) {
  RequireMembers(object, {"type", "payload", "uuid", "timeout", "policy", "waitForHandler"});
  CommandRequest command;
  command.type = NonEmptyMember(object, "type");
  if (object.HasMember("payload")) command.payload = PayloadOf(object["payload"], line);
  if (object.HasMember("uuid")) command.uuid = NonEmptyMember(object, "uuid");
  if (object.HasMember("timeout")) command.timeout = TimeoutOf(object["timeout"]);
  if (object.HasMember("policy")) command.policy = PolicyOf(object["policy"]);
  if (object.HasMember("waitForHandler")) {
    command.waits_for_handler = BoolOf(object["waitForHandler"], "waitForHandler");
  }
  return command;
}

ConfirmRequest ParseConfirm(const Value& object) {
  RequireMembers(object, {"confirm"});
  return {NonEmptyMember(object, "confirm")};
}

HandlersRequest ParseHandlers(const Value& object) {
  RequireMembers(object, {"handlers"});
  if (!object["handlers"].IsTrue()) throw ProtocolError("must be true", "handlers");
  return {};
}

NegotiationRequest ParseNegotiation(const Value& object) {
  RequireMembers(object, {"negotiation"});
  const Value& answer = object["negotiation"];
  if (answer == "grant") return {true};
  if (answer == "refuse") return {false};
  throw ProtocolError("must be \"grant\" or \"refuse\"", "negotiation");
}

}  // namespace

Request ParseRequest(std::string_view line) {
  if (const auto error = json::FindSyntaxError(line)) {
    throw ProtocolError(error->message, "", error->column);
  }
  json::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(line.data(), line.size());
  if (!document.IsObject()) throw ProtocolError("must be a JSON object");
  if (document.HasMember("type")) return ParseCommand(document, line);
  if (document.HasMember("confirm")) return ParseConfirm(document);
  if (document.HasMember("handlers")) return ParseHandlers(document);
  if (document.HasMember("negotiation")) return ParseNegotiation(document);
  throw ProtocolError("expected one of: type, confirm, handlers, negotiation");
}

}  // namespace tools::cli
