// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_MEMORY_BACKEND_H_
#define TESTS_SUPPORT_MEMORY_BACKEND_H_

#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "common/exceptions.h"
#include "handlers/app-handler.h"
#include "handlers/repository-backend.h"

namespace support {

using HandlerList = std::vector<std::shared_ptr<handlers::BaseHandler>>;

// The contents of a MemoryBackend. Separate, because the repository owns the backend.
struct MemoryStore {
  // Without a value until the first write, like a missing file.
  std::optional<HandlerList> handlers;
  int writes = 0;
  int reads = 0;
};

class MemoryBackend : public handlers::RepositoryBackend {
 public:
  explicit MemoryBackend(std::shared_ptr<MemoryStore> store) : store_(std::move(store)) {}

  void Store(const HandlerList& handlers) override {
    store_->handlers = handlers;
    ++store_->writes;
  }

  HandlerList Load() override {
    ++store_->reads;
    if (!store_->handlers) throw NotInitialized(__FILE__, __LINE__, "");
    return *store_->handlers;
  }

 private:
  std::shared_ptr<MemoryStore> store_;
};

// Returns the stored form of a handler without request types.
inline json::Document StoredForm(const std::string& id) {
  json::Document stored(rapidjson::kObjectType);
  auto& allocator = stored.GetAllocator();
  stored.AddMember("appId", json::Value(id.c_str(), allocator), allocator);
  stored.AddMember("requestTypes", json::Value(rapidjson::kArrayType), allocator);
  return stored;
}

// Creates a record without an installed application.
inline std::shared_ptr<handlers::BaseHandler> MakeHandler(
    const std::string& id, const std::vector<std::string>& request_types, int priority = 0) {
  auto handler =
      std::make_shared<handlers::AppHandler>(StoredForm(id), std::weak_ptr<ipc::ServiceManager>());
  for (const std::string& type : request_types) handler->AddRequestType(type);
  handler->SetPriority(priority);
  return handler;
}

}  // namespace support

#endif
