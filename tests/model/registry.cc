// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "registry.h"

#include <algorithm>
#include <cstdio>
#include <stdexcept>

#include "observation.h"

namespace model {
namespace {

int Priority(const std::optional<std::string>& declared, bool preloaded) {
  int priority = 0;
  try {
    if (declared) priority = std::clamp(std::stoi(*declared), 1, 100);
  } catch (const std::logic_error&) {
    // Not a number or out of range: treated as undeclared.
  }
  return preloaded ? priority + 101 : priority;
}

// Sorts the preferred handler first.
std::string PreferenceKey(const Handler& handler) {
  char rank[16];
  std::snprintf(rank, sizeof(rank), "%03d", 999 - handler.priority);
  return rank + handler.id;
}

}  // namespace

std::string Handler::Format() const {
  return FormatHandler(id, std::vector<std::string>(types.begin(), types.end()));
}

std::string Handler::DatabaseEntry() const {
  std::string array;
  for (const std::string& type : types) {
    array += (array.empty() ? "\"" : ",\"") + type + "\"";
  }
  return R"({"handlerType":"AppHandler","handlerData":{"appId":")" + id + R"(","requestTypes":[)" +
         array + "]}}";
}

HandlerPointer MakeHandler(const support::HandlerApp& app, bool preloaded) {
  auto handler = std::make_shared<Handler>();
  handler->id = app.id;
  if (app.request_types)
    handler->types.insert(app.request_types->begin(), app.request_types->end());
  handler->priority = Priority(app.priority, preloaded);
  return handler;
}

void Registry::Add(const HandlerPointer& handler) {
  for (const std::string& type : handler->types) {
    by_type_[type].emplace(PreferenceKey(*handler), handler);
    all_.insert(handler);
    by_id_[handler->id] = handler;
  }
}

void Registry::Remove(const std::string& id) {
  const HandlerPointer stored = ById(id);
  for (auto& [type, handlers] : by_type_) {
    for (auto it = handlers.begin(); it != handlers.end();) {
      it = it->second == stored ? handlers.erase(it) : std::next(it);
    }
  }
  all_.erase(stored);
}

void Registry::Update(const HandlerPointer& handler) {
  Remove(handler->id);
  Add(handler);
}

HandlerPointer Registry::Preferred(const std::string& type) const {
  const auto found = by_type_.find(type);
  if (found == by_type_.end() || found->second.empty()) return nullptr;
  return found->second.begin()->second;
}

HandlerPointer Registry::ById(const std::string& id) const {
  const auto found = by_id_.find(id);
  return found == by_id_.end() ? nullptr : found->second;
}

}  // namespace model
