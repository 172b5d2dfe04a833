// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_MANAGER_H_
#define QOR_SRC_HANDLERS_MANAGER_H_

#include <memory>
#include <set>
#include <string>
#include <vector>

#include "common/observer.h"
#include "handlers/events.h"
#include "handlers/repository.h"
#include "handlers/source.h"

namespace handlers {

// Keeps the repository in step with the sources and the stored form in step with the repository.
// Owned by a shared pointer; to be used from one thread.
class Manager : public common::IObserver<const HandlerAdded&>,
                public common::IObserver<const HandlerRemoved&>,
                public common::IObserver<const HandlerUpdated&>,
                public std::enable_shared_from_this<Manager> {
 public:
  explicit Manager(std::shared_ptr<Repository> repository);

  // Follows the source's events from now on; does not load it. Throws std::bad_weak_ptr when no
  // shared pointer owns this object.
  void AddSource(std::shared_ptr<Source> source);

  // Takes the stored handlers, or those of the sources when nothing is stored yet.
  void Initialize();
  // Takes the handlers of the sources and stores them.
  void Reload();
  // Adds the handlers of the sources; stores nothing.
  void LoadHandlers();

  void Update(const HandlerAdded& event) override;
  void Update(const HandlerRemoved& event) override;
  void Update(const HandlerUpdated& event) override;

  std::shared_ptr<BaseHandler> GetHandler(const std::string& request_type);
  std::shared_ptr<BaseHandler> GetHandlerById(const std::string& id);
  // Each handler once, in no particular order.
  std::vector<std::shared_ptr<BaseHandler>> GetHandlers();

 private:
  void Add(const std::shared_ptr<BaseHandler>& handler);
  void RemoveStored(const HandlerId& id);

  std::shared_ptr<Repository> repository_;
  std::set<std::shared_ptr<Source>> sources_;
};

}  // namespace handlers

#endif
