// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "error-text.h"

#include "json/json.h"

namespace qor::internal {

std::string ErrorText(ErrorCode code, const std::string& description) {
  json::StringBuffer text;
  json::Writer<rapidjson::kWriteValidateEncodingFlag> writer(text);
  writer.StartObject();
  writer.Key("ErrorCode");
  writer.Int(static_cast<int>(code));
  writer.Key("ErrorDomain");
  writer.String("QOR-HANDLER");
  writer.Key("ErrorDescription");
  const auto length = static_cast<rapidjson::SizeType>(description.size());
  if (!writer.String(description.data(), length)) {
    return ErrorText(code, "(a text that is not UTF-8)");
  }
  writer.EndObject();
  return text.GetString();
}

}  // namespace qor::internal
