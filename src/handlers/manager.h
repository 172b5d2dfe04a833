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

// Applies the changes that the sources report to the repository, and stores the repository after
// each change. Must be owned by a shared pointer. Not thread-safe.
class Manager : public common::IObserver<const HandlerAdded&>,
                public common::IObserver<const HandlerRemoved&>,
                public common::IObserver<const HandlerUpdated&>,
                public std::enable_shared_from_this<Manager> {
 public:
  explicit Manager(std::shared_ptr<Repository> repository);

  // Attaches to the source's events; does not load its handlers. Throws std::bad_weak_ptr if no
  // shared pointer owns this object.
  void AddSource(std::shared_ptr<Source> source);

  // Loads the stored handlers, or those of the sources if nothing has been stored.
  void Initialize();
  // Replaces the handlers by those of the sources and stores them.
  void Reload();
  // Adds the handlers of the sources without storing them.
  void LoadHandlers();

  void Update(const HandlerAdded& event) override;
  void Update(const HandlerRemoved& event) override;
  void Update(const HandlerUpdated& event) override;

  std::shared_ptr<BaseHandler> GetHandler(const std::string& request_type);
  std::shared_ptr<BaseHandler> GetHandlerById(const std::string& id);
  // Returns each handler once, in no particular order.
  std::vector<std::shared_ptr<BaseHandler>> GetHandlers();

 private:
  void Add(const std::shared_ptr<BaseHandler>& handler);
  void RemoveStored(const HandlerId& id);

  std::shared_ptr<Repository> repository_;
  std::set<std::shared_ptr<Source>> sources_;
};

}  // namespace handlers

#endif
