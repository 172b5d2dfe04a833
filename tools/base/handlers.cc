// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "base/handlers.h"

#include <algorithm>

namespace tools {

Handler HandlerOf(qor_handler_manager_handler_info_h info) {
  Handler handler;
  char* id = nullptr;
  if (qor_handler_manager_handler_info_appid_get(info, &id) == 0) handler.app_id = id;
  char** types = nullptr;
  if (qor_handler_manager_handler_info_supported_request_types_get(info, &types) == 0) {
    for (; *types != nullptr; ++types) handler.request_types.emplace_back(*types);
  }
  return handler;
}

std::vector<Handler> ListHandlers() {
  std::vector<Handler> handlers;
  qor_handler_manager_foreach_handler_info(
      [](qor_handler_manager_handler_info_h info, void* data) {
        static_cast<std::vector<Handler>*>(data)->push_back(HandlerOf(info));
        return true;
      },
      &handlers);
  std::sort(handlers.begin(), handlers.end(),
            [](const Handler& a, const Handler& b) { return a.app_id < b.app_id; });
  return handlers;
}

const char* NameOf(qor_handler_update_type_e type) {
  switch (type) {
    case QOR_HANDLER_UPDATE_ADDED:
      return "added";
    case QOR_HANDLER_UPDATE_REMOVED:
      return "removed";
    default:
      return "updated";
  }
}

}  // namespace tools
