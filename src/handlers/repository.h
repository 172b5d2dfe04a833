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

// The registry in memory: which handlers serve a request type, in order of preference. The backend
// is touched by Load() and Sync() only. To be used from one thread.
class Repository {
 public:
  using HandlerPtr = std::shared_ptr<BaseHandler>;
  // By preference key: larger priority first, then smaller id.
  using HandlersByPreference = std::map<std::string, HandlerPtr>;
  using HandlersByRequestType = std::unordered_map<std::string, HandlersByPreference>;
  // Where a handler stands in HandlersByRequestType, in ascending order of the types, each once.
  using RequestTypesByHandler =
      std::unordered_map<HandlerPtr, std::vector<HandlersByRequestType::value_type*>>;

  explicit Repository(std::unique_ptr<RepositoryBackend> backend);

  // Keeps an entry of the same id and priority; the by-id entry becomes `handler` in any case.
  void Add(std::string request_type, HandlerPtr handler);
  // Forgets the id too, but keeps the handler among those that are stored.
  void Remove(std::string request_type, HandlerPtr handler);
  // Keeps the by-id entry, but no longer stores the handler.
  void RemoveAll(HandlerPtr handler);

  bool Exists(std::string request_type);
  // The preferred handler, or none.
  HandlerPtr GetHandler(const std::string& request_type);
  // The handler added last under an id, or none. A handler whose id has changed since is not found.
  HandlerPtr GetHandlerById(const std::string& id);
  const HandlersByRequestType& GetAll() { return handlers_; }
  const RequestTypesByHandler& GetAllRev() { return request_types_; }

  void Clear();
  // Replaces the contents by what is stored; by-id entries of others stay. Throws what the backend
  // throws, with no request type left.
  void Load();
  // Stores every handler that was added under a request type.
  void Sync();

 private:
  // By the hash of the handler's id. Holds no reference to the text, which the handler may replace,
  // and no copy of it.
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
