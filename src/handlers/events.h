// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_EVENTS_H_
#define QOR_SRC_HANDLERS_EVENTS_H_

#include <memory>

#include "handlers/base-handler.h"

namespace handlers {

struct HandlerAdded {
  std::shared_ptr<BaseHandler> handler;
};

// Only the id of the handler is significant.
struct HandlerRemoved {
  std::shared_ptr<BaseHandler> handler;
};

// The record replaces the one with the same id.
struct HandlerUpdated {
  std::shared_ptr<BaseHandler> handler;
};

}  // namespace handlers

#endif
