// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "agent-lines.h"

#include <rapidjson/document.h>
#include <rapidjson/memorystream.h>
#include <rapidjson/reader.h>
#include <rapidjson/writer.h>

#include <algorithm>
#include <initializer_list>

namespace qor {

namespace {

using rapidjson::Value;

std::string TextOf(const Value& value) { return {value.GetString(), value.GetStringLength()}; }

// The object's members are no others than these, each once.
void RequireMembers(const Value& object, std::initializer_list<std::string_view> allowed) {
  for (auto member = object.MemberBegin(); member != object.MemberEnd(); ++member) {
    const std::string name = TextOf(member->name);
    if (std::find(allowed.begin(), allowed.end(), name) == allowed.end()) {
      std::string names;
      for (const auto one : allowed) names += (names.empty() ? "" : ", ") + std::string(one);
      throw LineFault("not known here; what may stand here: " + names, name);
    }
    if (object.FindMember(member->name) != member) throw LineFault("stands there twice", name);
  }
}

// What reaches the library is a C text.
std::string SendableText(const Value& value, const char* key) {
  if (!value.IsString()) throw LineFault("must be a string", key);
  const std::string text = TextOf(value);
  if (text.find('\0') != std::string::npos) throw LineFault("holds a NUL character", key);
  return text;
}

std::string NameIn(const Value& object, const char* key) {
  const std::string name = SendableText(object[key], key);
  if (name.empty()) throw LineFault("must not be empty", key);
  return name;
}

// Writes the payload of a line out, by itself and without white space; its numbers as they stand
// there, because not every digit survives in a double.
class PayloadCopy : public rapidjson::BaseReaderHandler<rapidjson::UTF8<>, PayloadCopy> {
 public:
  std::string Text() const { return text_.GetString(); }

  bool Null() { return !copies_ || writer_.Null(); }
  bool Bool(bool value) { return !copies_ || writer_.Bool(value); }
  bool RawNumber(const char* digits, rapidjson::SizeType size, bool) {
    return !copies_ || writer_.RawValue(digits, size, rapidjson::kNumberType);
  }
  bool String(const char* text, rapidjson::SizeType size, bool) {
    return !copies_ || writer_.String(text, size);
  }
  bool Key(const char* name, rapidjson::SizeType size, bool) {
    if (level_ > 1) return !copies_ || writer_.Key(name, size);
    copies_ = std::string_view(name, size) == "payload";
    return true;
  }
  bool StartObject() { return ++level_ == 1 || !copies_ || writer_.StartObject(); }
  bool EndObject(rapidjson::SizeType) { return --level_ == 0 || !copies_ || writer_.EndObject(); }
  bool StartArray() { return ++level_ == 1 || !copies_ || writer_.StartArray(); }
  bool EndArray(rapidjson::SizeType) { return --level_ == 0 || !copies_ || writer_.EndArray(); }

 private:
  rapidjson::StringBuffer text_;
  rapidjson::Writer<rapidjson::StringBuffer> writer_{text_};
  int level_ = 0;
  bool copies_ = false;
};

std::string PayloadOf(const Value& value, std::string_view line) {
  if (value.IsString()) return SendableText(value, "payload");
  PayloadCopy copy;
  rapidjson::MemoryStream stream(line.data(), line.size());
  rapidjson::Reader reader;
  reader.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseNumbersAsStringsFlag>(stream,
                                                                                       copy);
  return copy.Text();
}

CommandLine ParseCommand(const Value& object, std::string_view line) {
  RequireMembers(object, {"type", "payload", "uuid"});
  CommandLine command;
  command.type = NameIn(object, "type");
  if (object.HasMember("payload")) command.payload = PayloadOf(object["payload"], line);
  if (object.HasMember("uuid")) command.uuid = NameIn(object, "uuid");
  return command;
}

std::optional<int> MillisecondsIn(const Value& object, const char* key) {
  if (!object.HasMember(key)) return std::nullopt;
  const Value& value = object[key];
  if (!value.IsInt() || value.GetInt() < 0) {
    throw LineFault("must be a number of milliseconds, whole and not negative", key);
  }
  return value.GetInt();
}

ConfigurationLine ParseConfiguration(const Value& object) {
  RequireMembers(object, {"configuration"});
  const Value& configuration = object["configuration"];
  if (!configuration.IsObject()) throw LineFault("must be an object", "configuration");
  RequireMembers(configuration, {"executionTimeout", "connectionTimeout"});
  return {MillisecondsIn(configuration, "executionTimeout"),
          MillisecondsIn(configuration, "connectionTimeout")};
}

HandlersLine ParseHandlers(const Value& object) {
  RequireMembers(object, {"handlers"});
  if (!object["handlers"].IsTrue()) throw LineFault("must be true", "handlers");
  return {};
}

NegotiationLine ParseNegotiation(const Value& object) {
  RequireMembers(object, {"negotiation"});
  const Value& answer = object["negotiation"];
  if (answer == "grant") return {true};
  if (answer == "refuse") return {false};
  throw LineFault("must be \"grant\" or \"refuse\"", "negotiation");
}

}  // namespace

AgentLine ParseAgentLine(std::string_view line) {
  if (const auto fault = FindJsonFault(line)) throw LineFault(fault->what, "", fault->column);
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(line.data(), line.size());
  if (!document.IsObject()) throw LineFault("must be a JSON object", "");
  if (document.HasMember("type")) return ParseCommand(document, line);
  if (document.HasMember("configuration")) return ParseConfiguration(document);
  if (document.HasMember("handlers")) return ParseHandlers(document);
  if (document.HasMember("negotiation")) return ParseNegotiation(document);
  throw LineFault("none of type, configuration, handlers and negotiation stands there", "");
}

}  // namespace qor
