// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/repository.h"

#include <cstddef>
#include <string>
#include <utility>
#include <vector>

#include "common/logging.h"

namespace handlers {

namespace {

constexpr std::size_t kKeyWidth = 3;
constexpr int kTopPriority = 999;

std::string PreferenceKey(BaseHandler& handler) {
  return ToZeroLeadString(kTopPriority - handler.Priority()) + handler.Id();
}

void EraseHandler(Repository::HandlersByPreference& handlers,
                  const Repository::HandlerPtr& handler) {
  for (auto it = handlers.begin(); it != handlers.end();) {
    it = it->second == handler ? handlers.erase(it) : std::next(it);
  }
}

}  // namespace

std::string ToZeroLeadString(int value) {
  // No stream: one that runs out of memory gives a shorter text instead of an error.
  std::string text = std::to_string(value);
  if (text.size() < kKeyWidth) text.insert(0, kKeyWidth - text.size(), '0');
  return text;
}

Repository::Repository(std::unique_ptr<RepositoryBackend> backend) : backend_(std::move(backend)) {
  QOR_FRAME();
}

void Repository::Add(std::string request_type, HandlerPtr handler) {
  // First, so that RemoveAll() finds whatever stands in the other.
  request_types_[handler].insert(request_type);
  handlers_[std::move(request_type)].emplace(PreferenceKey(*handler), handler);
  handlers_by_id_[handler->Id()] = handler;
}

void Repository::Remove(std::string request_type, HandlerPtr handler) {
  EraseHandler(handlers_[request_type], handler);
  request_types_[handler].erase(request_type);
  handlers_by_id_.erase(handler->Id());
}

void Repository::RemoveAll(HandlerPtr handler) {
  const auto served = request_types_.find(handler);
  if (served == request_types_.end()) return;
  for (const auto& request_type : served->second) EraseHandler(handlers_[request_type], handler);
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
  const auto found = handlers_by_id_.find(id);
  return found != handlers_by_id_.end() ? found->second : nullptr;
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
