// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "interface-definition.h"

#include <fstream>
#include <regex>
#include <sstream>

namespace qor::test {

namespace {

using Iterator = std::sregex_iterator;

std::string WithoutComments(const std::string& path) {
  std::ifstream file(path);
  std::ostringstream text;
  text << file.rdbuf();
  return std::regex_replace(text.str(), std::regex("//[^\n]*"), "");
}

std::vector<InterfaceDefinition::Field> ReadFields(const std::string& text) {
  static const std::regex kField(R"((\w+)\s+(\w+)\s*(?:[;,]|$))");
  std::vector<InterfaceDefinition::Field> fields;
  for (Iterator field(text.begin(), text.end(), kField); field != Iterator(); ++field) {
    fields.push_back({(*field)[1], (*field)[2]});
  }
  return fields;
}

}  // namespace

InterfaceDefinition::InterfaceDefinition(const std::string& path) {
  static const std::regex kStruct(R"(struct\s+(\w+)\s*\{([^}]*)\})");
  static const std::regex kMethod(R"((\w+)\s+(\w+)\s*\(([^)]*)\)\s*(\w*)\s*;)");
  const std::string text = WithoutComments(path);
  for (Iterator found(text.begin(), text.end(), kStruct); found != Iterator(); ++found) {
    structs_[(*found)[1]] = ReadFields((*found)[2]);
  }
  int next_method = 2;
  int next_delegate = 1;
  const std::string interface = text.substr(text.find("interface "));
  for (Iterator found(interface.begin(), interface.end(), kMethod); found != Iterator(); ++found) {
    const bool is_delegate = (*found)[4] == "delegate";
    methods_[(*found)[2]] = {is_delegate ? next_delegate++ : next_method++, is_delegate,
                             (*found)[1], ReadFields((*found)[3])};
  }
}

std::vector<InterfaceDefinition::Field> InterfaceDefinition::Values(
    const std::string& method) const {
  std::vector<Field> values;
  for (const Field& parameter : methods_.at(method).parameters) {
    if (const auto found = structs_.find(parameter.type); found != structs_.end()) {
      values.insert(values.end(), found->second.begin(), found->second.end());
    } else if (const auto callback = methods_.find(parameter.type); callback != methods_.end()) {
      values.insert(values.end(), {{"int", "id"}, {"int", "sequence"}, {"bool", "once"}});
    } else {
      values.push_back(parameter);
    }
  }
  return values;
}

}  // namespace qor::test
