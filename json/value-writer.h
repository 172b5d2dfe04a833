// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef JSON_VALUE_WRITER_H_
#define JSON_VALUE_WRITER_H_

#include <cmath>
#include <cstdint>
#include <string>
#include <string_view>

#include "json/json.h"
#include "text/printable.h"

namespace json {

// Writes one JSON value without white space. Text values may hold any bytes.
class ValueWriter {
 public:
  ValueWriter& BeginObject() { return Do(writer_.StartObject()); }
  ValueWriter& EndObject() { return Do(writer_.EndObject()); }
  ValueWriter& BeginArray() { return Do(writer_.StartArray()); }
  ValueWriter& EndArray() { return Do(writer_.EndArray()); }
  ValueWriter& Key(std::string_view key) {
    return Do(writer_.Key(key.data(), static_cast<rapidjson::SizeType>(key.size())));
  }

  ValueWriter& Value(std::string_view text) {
    return Do(writer_.String(text.data(), static_cast<rapidjson::SizeType>(text.size())));
  }
  ValueWriter& Value(const char* text) { return Value(std::string_view(text)); }
  ValueWriter& Value(const std::string& text) { return Value(std::string_view(text)); }
  ValueWriter& Value(bool value) { return Do(writer_.Bool(value)); }
  ValueWriter& Value(int value) { return Do(writer_.Int(value)); }
  ValueWriter& Value(std::int64_t value) { return Do(writer_.Int64(value)); }
  // Writes null for infinity and NaN, which JSON does not have.
  ValueWriter& Value(double value) {
    return std::isfinite(value) ? Do(writer_.Double(value)) : Null();
  }
  // Inserts valid JSON.
  ValueWriter& Json(std::string_view json) {
    return Do(writer_.RawValue(json.data(), json.size(), rapidjson::kNullType));
  }
  ValueWriter& Null() { return Do(writer_.Null()); }

  template <typename T>
  ValueWriter& Member(std::string_view key, const T& value) {
    return Key(key).Value(value);
  }

  // Returns valid JSON in valid UTF-8 that is safe on a terminal: invalid bytes are U+FFFD, control
  // characters are escaped.
  std::string Text() const { return text::PrintableJson({buffer_.GetString(), buffer_.GetSize()}); }

 private:
  ValueWriter& Do(bool) { return *this; }

  StringBuffer buffer_;
  Writer<> writer_{buffer_};
};

}  // namespace json

#endif
