// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Files of request types, read by the library and by the tool.

#include "handlers/handler-config.h"

#include <yaml-cpp/eventhandler.h>
#include <yaml-cpp/yaml.h>

#include <set>
#include <sstream>
#include <string>

#include "inspect/config-file.h"
#include "target.h"

namespace {

// Counts the nodes that the YAML library creates from a text.
class NodeCounter : public YAML::EventHandler {
 public:
  void OnDocumentStart(const YAML::Mark&) override {}
  void OnDocumentEnd() override {}
  void OnNull(const YAML::Mark&, YAML::anchor_t) override { ++count; }
  void OnAlias(const YAML::Mark&, YAML::anchor_t) override { ++count; }
  void OnScalar(const YAML::Mark&, const std::string&, YAML::anchor_t,
                const std::string&) override {
    ++count;
  }
  void OnSequenceStart(const YAML::Mark&, const std::string&, YAML::anchor_t,
                       YAML::EmitterStyle::value) override {
    ++count;
  }
  void OnSequenceEnd() override {}
  void OnMapStart(const YAML::Mark&, const std::string&, YAML::anchor_t,
                  YAML::EmitterStyle::value) override {
    ++count;
  }
  void OnMapEnd() override {}

  std::size_t count = 0;
};

// An indicator begins two nodes at most, as a comma between the entries of a mapping does. The text
// itself begins three at most: one that ends within a sequence is read as a mapping of its last
// scalar to null.
void RequireBoundedNodes(const std::string& text) {
  NodeCounter nodes;
  try {
    std::istringstream input(text);
    YAML::Parser(input).HandleNextDocument(nodes);
  } catch (const YAML::Exception&) {
    // Nodes before the error were created.
  }
  const std::size_t indicators =
      (handlers::ParseCost(text) - text.size()) / handlers::kIndicatorCost;
  fuzz::Require(nodes.count <= 2 * indicators + 3, "the parse cost of a text bounds its nodes");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string text = fuzz::TextOf(data, size);
  RequireBoundedNodes(text);
  const std::string path = fuzz::WriteFile("handler.yaml", text);
  const auto types = handlers::HandlerConfig::FromYaml(path).RequestTypes();
  handlers::PackageConfigs package;
  const tools::inspect::ConfigFile file =
      tools::inspect::ReadConfigFile(path, "handler.yaml", package);
  fuzz::Require(file.request_types == std::set<std::string>(types.begin(), types.end()),
                "the tool and the library read the same request types");
  fuzz::Require(types.empty() == !file.errors.empty(),
                "the tool reports an error when there is no request type");
  for (const std::string& type : types) tools::inspect::LineOfRequestType(path, type);
  return 0;
}
