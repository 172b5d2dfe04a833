// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_HANDLERS_REPOSITORY_BACKEND_FILE_H_
#define QOR_SRC_HANDLERS_REPOSITORY_BACKEND_FILE_H_

#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "handlers/repository-backend.h"

namespace handlers {

// Stores the records as one JSON document in one file:
// {"handlers":[{"handlerType":"AppHandler","handlerData":{...}},...]}
class FileRepositoryBackend : public RepositoryBackend {
 public:
  explicit FileRepositoryBackend(std::string path) : path_(std::move(path)) {}

  // Never reports an error. A file that cannot be opened keeps its contents.
  void Store(const std::vector<std::shared_ptr<BaseHandler>>& handlers) override;
  // Throws NotInitialized if the file cannot be read and InvalidOperation on an unknown handler
  // type. Aborts the process on a file that the library did not write.
  std::vector<std::shared_ptr<BaseHandler>> Load() override;

 private:
  void ToJson(std::shared_ptr<BaseHandler> handler, json::Value& out,
              json::PoolAllocator& allocator);
  std::shared_ptr<BaseHandler> FromJson(const json::Value& entry);

  std::string path_;
};

}  // namespace handlers

#endif
