// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_REPOSITORY_H_
#define QOR_SRC_HANDLERS_REPOSITORY_H_

#include <cstddef>
#include <map>
#include <memory>
#include <string>
#include <unordered_map>
#include <vector>

#include "handlers/base-handler.h"
#include "handlers/priority.h"
#include "handlers/repository-backend.h"

namespace handlers {

// The registry in memory: the handlers of each request type, in order of preference. Only Load()
// and Sync() access the backend. Not thread-safe.
class Repository {
 public:
  using HandlerPtr = std::shared_ptr<BaseHandler>;
  // By preference key.
  using HandlersByPreference = std::map<std::string, HandlerPtr>;
  using HandlersByRequestType = std::unordered_map<std::string, HandlersByPreference>;
  // The entries of a handler in HandlersByRequestType, ordered by type, without duplicates.
  using RequestTypesByHandler =
      std::unordered_map<HandlerPtr, std::vector<HandlersByRequestType::value_type*>>;

  explicit Repository(std::unique_ptr<RepositoryBackend> backend);

  // Adds a handler of a request type. A handler with the same id and priority keeps its entry under
  // the type; the by-id entry is always replaced.
  void Add(std::string request_type, HandlerPtr handler);
  // Removes a handler of a request type, and its by-id entry. Sync() still stores the handler.
  void Remove(std::string request_type, HandlerPtr handler);
  // Removes a handler from all request types. Keeps its by-id entry, but Sync() no longer stores
  // the handler.
  void RemoveAll(HandlerPtr handler);

  bool Exists(std::string request_type);
  // Returns the preferred handler of a request type, or null.
  HandlerPtr GetHandler(const std::string& request_type);
  // Returns the handler that was added last with an id, or null. A handler whose id has changed
  // since then is not found.
  HandlerPtr GetHandlerById(const std::string& id);
  const HandlersByRequestType& GetAll() { return handlers_; }
  const RequestTypesByHandler& GetAllRev() { return request_types_; }

  void Clear();
  // Replaces the contents by the stored handlers, but keeps the other by-id entries. Throws the
  // backend's exceptions; no request types are left then.
  void Load();
  // Stores the handlers that were added and not removed by RemoveAll().
  void Sync();

 private:
  // By the hash of the handler's id: a reference to the id would dangle when FromJson() replaces
  // it, and a copy would double its memory.
  using HandlersById = std::unordered_multimap<std::size_t, HandlerPtr>;

  HandlersById::iterator FindById(const std::string& id);
  void SetById(HandlerPtr handler);

  HandlersByRequestType handlers_;
  RequestTypesByHandler request_types_;
  HandlersById handlers_by_id_;
  std::unique_ptr<RepositoryBackend> backend_;
};

}  // namespace handlers

#endif
