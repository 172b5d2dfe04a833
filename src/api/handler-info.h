// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_HANDLER_INFO_H_
#define QOR_SRC_API_HANDLER_INFO_H_

#include <set>
#include <string>
#include <vector>

#include "qor_handler_manager.h"

// A snapshot of a handler for the client. The strings are allocated with new[]; the vector ends
// with a null entry.
struct qor_handler_manager_handler_info_s {
 public:
  qor_handler_manager_handler_info_s(const std::string& app_id,
                                     const std::set<std::string>& request_types);
  qor_handler_manager_handler_info_s(const qor_handler_manager_handler_info_s& other);
  qor_handler_manager_handler_info_s& operator=(const qor_handler_manager_handler_info_s&) = delete;
  ~qor_handler_manager_handler_info_s();

  char* AppId() { return app_id_.data(); }
  char** RequestTypes() { return request_types_.data(); }

 private:
  // Creates an empty list. The other constructors delegate to it: if a copy runs out of memory, the
  // destructor releases the earlier ones.
  explicit qor_handler_manager_handler_info_s(const std::string& app_id);

  void Append(const char* request_type);

  std::string app_id_;
  std::vector<char*> request_types_;
};

#endif
