// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rapidjson/ostreamwrapper.h>
#include <rapidjson/prettywriter.h>

#include <iostream>

#include "report.h"

namespace bench {

namespace {

using Writer = rapidjson::PrettyWriter<rapidjson::OStreamWrapper>;

void WriteText(Writer& writer, const char* key, const std::string& text) {
  writer.Key(key);
  writer.String(text.c_str());
}

void WriteNumber(Writer& writer, const char* key, double number) {
  writer.Key(key);
  writer.Double(number);
}

void WriteFigure(Writer& writer, const std::string& group, const Figure& figure) {
  writer.StartObject();
  WriteText(writer, "group", group);
  WriteText(writer, "name", figure.name);
  WriteText(writer, "unit", figure.unit);
  WriteNumber(writer, "median", figure.value.median);
  WriteNumber(writer, "p10", figure.value.p10);
  WriteNumber(writer, "p90", figure.value.p90);
  if (!figure.detail.empty()) WriteText(writer, "detail", figure.detail);
  if (figure.goal) {
    WriteNumber(writer, figure.goal->kind == Goal::Kind::kAtMost ? "atMost" : "atLeast",
                figure.goal->limit);
    writer.Key("holds");
    writer.Bool(figure.Holds());
  }
  writer.EndObject();
}

}  // namespace

void Report::PrintJson() const {
  rapidjson::OStreamWrapper stream(std::cout);
  Writer writer(stream);
  writer.StartObject();
  writer.Key("machine");
  writer.StartObject();
  for (const auto& [name, value] : facts_) WriteText(writer, name.c_str(), value);
  writer.EndObject();
  writer.Key("figures");
  writer.StartArray();
  for (const Group& group : groups_) {
    for (const Figure& figure : group.figures) WriteFigure(writer, group.title, figure);
  }
  writer.EndArray();
  writer.Key("remarks");
  writer.StartArray();
  for (const Group& group : groups_) {
    for (const std::string& remark : group.remarks) writer.String(remark.c_str());
  }
  writer.EndArray();
  writer.EndObject();
  std::cout << '\n';
}

}  // namespace bench
