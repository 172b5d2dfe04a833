// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_SOURCE_H_
#define QOR_SRC_HANDLERS_SOURCE_H_

#include <memory>
#include <vector>

#include "common/observer.h"
#include "handlers/base-handler.h"
#include "handlers/events.h"

namespace handlers {

// A source of handlers. Notifies its observers of changes.
class Source : public common::Subject<const HandlerAdded&>,
               public common::Subject<const HandlerRemoved&>,
               public common::Subject<const HandlerUpdated&> {
 public:
  using common::Subject<const HandlerAdded&>::Attach;
  using common::Subject<const HandlerRemoved&>::Attach;
  using common::Subject<const HandlerUpdated&>::Attach;
  using common::Subject<const HandlerAdded&>::Notify;
  using common::Subject<const HandlerRemoved&>::Notify;
  using common::Subject<const HandlerUpdated&>::Notify;

  // Attaches an observer to all three kinds of events.
  template <typename Observer>
  void AttachToAll(const std::shared_ptr<Observer>& observer) {
    Attach(std::weak_ptr<common::IObserver<const HandlerAdded&>>(observer));
    Attach(std::weak_ptr<common::IObserver<const HandlerRemoved&>>(observer));
    Attach(std::weak_ptr<common::IObserver<const HandlerUpdated&>>(observer));
  }

  // Returns all present handlers.
  virtual std::vector<std::shared_ptr<BaseHandler>> Load() = 0;
};

}  // namespace handlers

#endif
