// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/handler-info.h"

#include <cstddef>
#include <cstring>

qor_handler_manager_handler_info_s::qor_handler_manager_handler_info_s(const std::string& app_id)
    : app_id_(app_id), request_types_{nullptr} {}

qor_handler_manager_handler_info_s::qor_handler_manager_handler_info_s(
    const std::string& app_id, const std::set<std::string>& request_types)
    : qor_handler_manager_handler_info_s(app_id) {
  request_types_.reserve(request_types.size() + 1);
  for (const auto& type : request_types) Append(type.c_str());
}

qor_handler_manager_handler_info_s::qor_handler_manager_handler_info_s(
    const qor_handler_manager_handler_info_s& other)
    : qor_handler_manager_handler_info_s(other.app_id_) {
  request_types_.reserve(other.request_types_.size());
  for (const char* type : other.request_types_) {
    if (type != nullptr) Append(type);
  }
}

qor_handler_manager_handler_info_s::~qor_handler_manager_handler_info_s() {
  for (char* type : request_types_) delete[] type;
}

void qor_handler_manager_handler_info_s::Append(const char* request_type) {
  request_types_.push_back(nullptr);
  const std::size_t size = std::strlen(request_type) + 1;
  request_types_[request_types_.size() - 2] =
      static_cast<char*>(std::memcpy(new char[size], request_type, size));
}
