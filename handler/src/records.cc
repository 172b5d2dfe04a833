// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "records.h"

#include "json/json.h"

namespace qor::internal {

Answer ErrorAnswer(ErrorCode code, const std::string& description) {
  json::StringBuffer text;
  json::Writer<rapidjson::kWriteValidateEncodingFlag> writer(text);
  writer.StartObject();
  writer.Key("ErrorCode");
  writer.Int(static_cast<int>(code));
  writer.Key("ErrorDomain");
  writer.String("QOR-HANDLER");
  writer.Key("ErrorDescription");
  const auto length = static_cast<rapidjson::SizeType>(description.size());
  if (!writer.String(description.data(), length)) return ErrorAnswer(code, "(invalid UTF-8)");
  writer.EndObject();
  return {false, text.GetString()};
}

}  // namespace qor::internal
