// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_TESTS_INTERFACE_DEFINITION_H_
#define QOR_HANDLER_TESTS_INTERFACE_DEFINITION_H_

#include <map>
#include <string>
#include <vector>

namespace qor::test {

// The parcel layouts of the interface in an interface-definition file.
class InterfaceDefinition {
 public:
  struct Field {
    std::string type;
    std::string name;
  };
  struct Method {
    // Methods are numbered from 2, delegates from 1.
    int id;
    bool is_delegate;
    std::string returns;
    std::vector<Field> parameters;
  };

  explicit InterfaceDefinition(const std::string& path);

  const Method& Get(const std::string& method) const { return methods_.at(method); }
  // The scalar values of a call of the method in wire order, with structs expanded.
  std::vector<Field> Values(const std::string& method) const;

 private:
  std::map<std::string, std::vector<Field>> structs_;
  std::map<std::string, Method> methods_;
};

}  // namespace qor::test

#endif
