// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/repository.h"

#include <algorithm>
#include <cstddef>
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include "common/logging.h"

namespace handlers {

namespace {

using RequestType = Repository::HandlersByRequestType::value_type;

void EraseHandler(Repository::HandlersByPreference& handlers,
                  const Repository::HandlerPtr& handler) {
  for (auto it = handlers.begin(); it != handlers.end();) {
    it = it->second == handler ? handlers.erase(it) : std::next(it);
  }
}

// Inserts in ascending order, unless present.
void Insert(std::vector<RequestType*>& types, RequestType& type) {
  const auto position = std::lower_bound(
      types.begin(), types.end(), type.first,
      [](const RequestType* one, const std::string& name) { return one->first < name; });
  if (position == types.end() || *position != &type) types.insert(position, &type);
}

}  // namespace

Repository::Repository(std::unique_ptr<RepositoryBackend> backend) : backend_(std::move(backend)) {
  QOR_FRAME();
}

void Repository::Add(std::string request_type, HandlerPtr handler) {
  RequestType& type = *handlers_.try_emplace(std::move(request_type)).first;
  // The reverse index first: if the second insertion runs out of memory, RemoveAll() still finds
  // every entry.
  Insert(request_types_[handler], type);
  type.second.emplace(PreferenceKey(handler->Priority(), handler->Id()), handler);
  SetById(std::move(handler));
}

void Repository::Remove(std::string request_type, HandlerPtr handler) {
  RequestType& type = *handlers_.try_emplace(std::move(request_type)).first;
  EraseHandler(type.second, handler);
  auto& types = request_types_[handler];
  types.erase(std::remove(types.begin(), types.end(), &type), types.end());
  const auto by_id = FindById(handler->Id());
  if (by_id != handlers_by_id_.end()) handlers_by_id_.erase(by_id);
}

void Repository::RemoveAll(HandlerPtr handler) {
  const auto served = request_types_.find(handler);
  if (served == request_types_.end()) return;
  for (RequestType* type : served->second) EraseHandler(type->second, handler);
  request_types_.erase(served);
}

bool Repository::Exists(std::string request_type) {
  const auto found = handlers_.find(request_type);
  return found != handlers_.end() && !found->second.empty();
}

Repository::HandlerPtr Repository::GetHandler(const std::string& request_type) {
  const auto found = handlers_.find(request_type);
  if (found == handlers_.end() || found->second.empty()) return nullptr;
  return found->second.begin()->second;
}

Repository::HandlerPtr Repository::GetHandlerById(const std::string& id) {
  const auto found = FindById(id);
  return found != handlers_by_id_.end() ? found->second : nullptr;
}

Repository::HandlersById::iterator Repository::FindById(const std::string& id) {
  const auto [first, last] = handlers_by_id_.equal_range(std::hash<std::string>()(id));
  const auto found =
      std::find_if(first, last, [&id](const auto& entry) { return entry.second->Id() == id; });
  return found != last ? found : handlers_by_id_.end();
}

void Repository::SetById(HandlerPtr handler) {
  const auto found = FindById(handler->Id());
  if (found != handlers_by_id_.end()) {
    found->second = std::move(handler);
  } else {
    const std::size_t hash = std::hash<std::string>()(handler->Id());
    handlers_by_id_.emplace(hash, std::move(handler));
  }
}

void Repository::Clear() {
  handlers_.clear();
  request_types_.clear();
  handlers_by_id_.clear();
}

void Repository::Load() {
  handlers_.clear();
  request_types_.clear();
  for (const auto& handler : backend_->Load()) {
    for (const auto& request_type : handler->RequestTypes()) Add(request_type, handler);
  }
}

void Repository::Sync() {
  std::vector<HandlerPtr> handlers;
  handlers.reserve(request_types_.size());
  for (const auto& [handler, request_types] : request_types_) handlers.push_back(handler);
  backend_->Store(handlers);
}

}  // namespace handlers
