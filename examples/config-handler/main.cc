// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that stores a configuration. A JSON schema in the package (res/schema.json) validates
// it; errors contain a JSON pointer to the invalid part of the payload.

#include <app_common.h>
#include <qor/handler.h>
#include <rapidjson/document.h>
#include <rapidjson/error/en.h>
#include <rapidjson/istreamwrapper.h>
#include <rapidjson/schema.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>

namespace {

std::string Take(char* text) {
  const std::unique_ptr<char, decltype(&std::free)> owned(text, std::free);
  if (text == nullptr) throw std::runtime_error("application folder not available");
  return text;
}

std::string ConfigurationFile() { return Take(app_get_data_path()) + "configuration.json"; }

rapidjson::SchemaDocument LoadSchema() {
  const std::string path = Take(app_get_resource_path()) + "schema.json";
  std::ifstream file(path);
  rapidjson::IStreamWrapper stream(file);
  rapidjson::Document document;
  if (document.ParseStream(stream).HasParseError()) {
    throw std::runtime_error("invalid JSON: " + path + ": " +
                             rapidjson::GetParseError_En(document.GetParseError()));
  }
  return rapidjson::SchemaDocument(document);
}

// `pointer` is a JSON pointer into the payload, `rule` the schema's keyword that it violates.
std::string ErrorText(const std::string& description, const std::string& pointer,
                      const std::string& rule) {
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  writer.StartObject();
  writer.Key("ErrorCode");
  writer.Int(1);
  writer.Key("ErrorDescription");
  writer.String(description.c_str());
  writer.Key("Pointer");
  writer.String(pointer.c_str());
  writer.Key("Rule");
  writer.String(rule.c_str());
  writer.EndObject();
  return text.GetString();
}

void Set(const qor::Command& command) {
  rapidjson::Document payload;
  if (payload.Parse(command.Payload().c_str()).HasParseError()) {
    command.Fail(ErrorText("invalid JSON at byte " + std::to_string(payload.GetErrorOffset()) +
                               ": " + rapidjson::GetParseError_En(payload.GetParseError()),
                           "", ""));
    return;
  }
  const rapidjson::SchemaDocument schema = LoadSchema();
  rapidjson::SchemaValidator validator(schema);
  if (!payload.Accept(validator)) {
    rapidjson::StringBuffer pointer;
    validator.GetInvalidDocumentPointer().Stringify(pointer);
    command.Fail(ErrorText("configuration does not match the schema", pointer.GetString(),
                           validator.GetInvalidSchemaKeyword()));
    return;
  }
  std::ofstream file(ConfigurationFile());
  if (!(file << command.Payload() << std::flush)) {
    throw std::runtime_error("cannot write " + ConfigurationFile());
  }
  command.Succeed(command.Payload());
}

void Get(const qor::Command& command) {
  std::ifstream file(ConfigurationFile());
  const std::string text(std::istreambuf_iterator<char>(file), {});
  command.Succeed(text.empty() ? "{}" : text);
}

}  // namespace

int main(int argc, char** argv) {
  qor::Handler handler;
  handler.On("config.set", Set).On("config.get", Get);
  return handler.Run(argc, argv);
}
