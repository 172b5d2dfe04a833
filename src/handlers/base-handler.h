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

// Someone who serves request types.
class BaseHandler {
 public:
  virtual ~BaseHandler() = default;

  virtual const HandlerId& Id() = 0;
  // Launches the handler so that it connects. Throws FailToSendAppControl when that is refused.
  virtual void Notify() = 0;
  // Adds what the stored form holds to this record. A form that is not the library's own ends the
  // process.
  virtual void FromJson(const json::Value& json) = 0;
  virtual void ToJson(json::Value& out, json::PoolAllocator& allocator) const = 0;
  // Whether `other` is the same handler, whatever it declares.
  virtual bool Compare(std::shared_ptr<BaseHandler> other) = 0;

  const std::set<std::string>& RequestTypes() const { return request_types_; }
  // Larger wins among handlers of one request type.
  int Priority() const { return priority_; }
  void SetPriority(int priority) { priority_ = priority; }
  void AddRequestType(std::string type) { request_types_.insert(std::move(type)); }
  // Whether it serves anything.
  bool IsValid() const { return !request_types_.empty(); }

 private:
  std::set<std::string> request_types_;
  int priority_ = 0;
};

}  // namespace handlers

#endif
