// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_BASE_HANDLER_H_
#define QOR_SRC_HANDLERS_BASE_HANDLER_H_

#include <memory>
#include <set>
#include <string>

#include "common/platform-names.h"
#include "handlers/json.h"

namespace handlers {

// A handler of commands, with the request types that it serves.
class BaseHandler {
 public:
  virtual ~BaseHandler() = default;

  virtual const HandlerId& Id() = 0;
  // Launches the handler, which is expected to connect. Throws FailToSendAppControl on failure.
  virtual void Notify() = 0;
  // Reads the stored form into this record; its request types are added to the present ones. Aborts
  // the process on a form that the library did not write.
  virtual void FromJson(const json::Value& json) = 0;
  virtual void ToJson(json::Value& out, json::PoolAllocator& allocator) const = 0;
  // Returns whether `other` is a record of the same handler. Request types are not compared.
  virtual bool Compare(std::shared_ptr<BaseHandler> other) = 0;

  const std::set<std::string>& RequestTypes() const { return request_types_; }
  // The handler with the largest priority serves a request type.
  int Priority() const { return priority_; }
  void SetPriority(int priority) { priority_ = priority; }
  void AddRequestType(std::string type) { request_types_.insert(std::move(type)); }
  // Whether the handler serves any request type.
  bool IsValid() const { return !request_types_.empty(); }

 private:
  std::set<std::string> request_types_;
  int priority_ = 0;
};

}  // namespace handlers

#endif
