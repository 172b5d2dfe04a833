// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_BASE_HANDLERS_H_
#define QOR_TOOLS_BASE_HANDLERS_H_

#include <qor_handler_manager.h>

#include <string>
#include <vector>

namespace tools {

// A handler in the library's registry.
struct Handler {
  std::string app_id;
  std::vector<std::string> request_types;
};

Handler HandlerOf(qor_handler_manager_handler_info_h info);

// The registered handlers, sorted by application id. The library must be initialized.
std::vector<Handler> ListHandlers();

// "added", "removed" or "updated".
const char* NameOf(qor_handler_update_type_e type);

}  // namespace tools

#endif
