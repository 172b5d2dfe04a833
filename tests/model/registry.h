// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_MODEL_REGISTRY_H_
#define TESTS_MODEL_REGISTRY_H_

#include <map>
#include <memory>
#include <set>
#include <string>
#include <vector>

#include "operation.h"

namespace model {

// A handler as declared when its record was created.
struct Handler {
  std::string id;
  std::set<std::string> types;
  int priority = 0;

  bool IsValid() const { return !types.empty(); }
  std::string Format() const;
  std::string DatabaseEntry() const;
};
using HandlerPointer = std::shared_ptr<const Handler>;

HandlerPointer MakeHandler(const support::HandlerApp& app, bool preloaded);

class Registry {
 public:
  void Add(const HandlerPointer& handler);
  // Both first remove the stored record of the id.
  void Remove(const std::string& id);
  void Update(const HandlerPointer& handler);

  // Returns null when no handler serves the type.
  HandlerPointer Preferred(const std::string& type) const;
  // Also finds a removed handler.
  HandlerPointer ById(const std::string& id) const;
  const std::set<HandlerPointer>& All() const { return all_; }

 private:
  std::map<std::string, std::map<std::string, HandlerPointer>> by_type_;
  std::map<std::string, HandlerPointer> by_id_;
  std::set<HandlerPointer> all_;
};

}  // namespace model

#endif
