// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "agent-lines.h"

#include <rapidjson/document.h>

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

std::string PayloadOf(const Value& value) {
  if (value.IsString()) return SendableText(value, "payload");
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  value.Accept(writer);
  return text.GetString();
}

CommandLine ParseCommand(const Value& object) {
  RequireMembers(object, {"type", "payload", "uuid"});
  CommandLine command;
  command.type = NameIn(object, "type");
  if (object.HasMember("payload")) command.payload = PayloadOf(object["payload"]);
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
  document.Parse<rapidjson::kParseIterativeFlag | rapidjson::kParseFullPrecisionFlag>(line.data(),
                                                                                      line.size());
  if (!document.IsObject()) throw LineFault("must be a JSON object", "");
  if (document.HasMember("type")) return ParseCommand(document);
  if (document.HasMember("configuration")) return ParseConfiguration(document);
  if (document.HasMember("handlers")) return ParseHandlers(document);
  if (document.HasMember("negotiation")) return ParseNegotiation(document);
  throw LineFault("none of type, configuration, handlers and negotiation stands there", "");
}

}  // namespace qor
