// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_QOR_JSON_WRITER_H_
#define QOR_TOOLS_QOR_JSON_WRITER_H_

#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "text/printable.h"

namespace qor {

// Writes one JSON value without white space. Bytes that are no UTF-8 are written as they are.
class JsonWriter {
 public:
  JsonWriter& BeginObject() { return Do(writer_.StartObject()); }
  JsonWriter& EndObject() { return Do(writer_.EndObject()); }
  JsonWriter& BeginArray() { return Do(writer_.StartArray()); }
  JsonWriter& EndArray() { return Do(writer_.EndArray()); }
  JsonWriter& Key(std::string_view key) {
    return Do(writer_.Key(key.data(), static_cast<rapidjson::SizeType>(key.size())));
  }

  JsonWriter& Value(std::string_view text) {
    return Do(writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size())));
  }
  JsonWriter& Value(const char* text) { return Value(std::string_view(text)); }
  JsonWriter& Value(const std::string& text) { return Value(std::string_view(text)); }
  JsonWriter& Value(bool value) { return Do(writer_.Bool(value)); }
  JsonWriter& Value(int value) { return Do(writer_.Int(value)); }
  JsonWriter& Value(std::int64_t value) { return Do(writer_.Int64(value)); }
  // Null for what is no number.
  JsonWriter& Value(double value) {
    return std::isfinite(value) ? Do(writer_.Double(value)) : Null();
  }
  // A text that is one JSON value already.
  JsonWriter& Json(std::string_view json) {
    return Do(writer_.RawValue(json.data(), json.size(), rapidjson::kNullType));
  }
  JsonWriter& Null() { return Do(writer_.Null()); }

  template <typename T>
  JsonWriter& Member(std::string_view key, const T& value) {
    return Key(key).Value(value);
  }

  // Valid JSON in valid UTF-8, whatever the bytes of the values are; safe on a terminal.
  std::string Text() const { return text::PrintableJson({buffer_.GetString(), buffer_.GetSize()}); }

 private:
  JsonWriter& Do(bool) { return *this; }

  rapidjson::StringBuffer buffer_;
  rapidjson::Writer<rapidjson::StringBuffer> writer_{buffer_};
};

}  // namespace qor

#endif
