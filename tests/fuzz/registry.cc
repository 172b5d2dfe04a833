// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The library's registry file.

#include <filesystem>
#include <optional>

#include "common/exceptions.h"
#include "handlers/repository-backend-file.h"
#include "target.h"
#include "throwing-json.h"

namespace {

using Handlers = std::vector<std::shared_ptr<handlers::BaseHandler>>;

std::optional<Handlers> Load(const std::string& path) {
  try {
    return handlers::FileRepositoryBackend(path).Load();
  } catch (const fuzz::JsonAssertionFailed&) {
  } catch (const InvalidOperation&) {
  }
  return std::nullopt;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string path = fuzz::WriteFile("handlers.db", fuzz::TextOf(data, size));
  const auto handlers = Load(path);
  if (!handlers) return 0;
  handlers::FileRepositoryBackend(path).Store(*handlers);
  const auto again = Load(path);
  fuzz::Require(again && again->size() == handlers->size(), "stored handlers can be read");
  for (std::size_t i = 0; i < handlers->size(); ++i) {
    fuzz::Require((*again)[i]->Id() == (*handlers)[i]->Id() &&
                      (*again)[i]->RequestTypes() == (*handlers)[i]->RequestTypes(),
                  "a handler is stored as it was");
  }
  return 0;
}
