// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "error-text.h"

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace qor::internal {

std::string ErrorText(ErrorCode code, const std::string& description) {
  using Buffer = rapidjson::StringBuffer;
  using Writer = rapidjson::Writer<Buffer, rapidjson::UTF8<>, rapidjson::UTF8<>,
                                   rapidjson::CrtAllocator, rapidjson::kWriteValidateEncodingFlag>;
  Buffer text;
  Writer writer(text);
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
