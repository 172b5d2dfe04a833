// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/repository-backend-file.h"

#include "handlers/json.h"

#include <rapidjson/istreamwrapper.h>

#include <cstddef>
#include <fstream>
#include <string_view>

#include "common/exceptions.h"
#include "common/logging.h"
#include "handlers/factory.h"

namespace handlers {

namespace {

constexpr std::size_t kParseStackBytes = 1024;
// Enough for a typical record; the allocator adds blocks for a larger one.
constexpr std::size_t kRecordBytes = 4096;
// Threshold at which buffered text is written.
constexpr std::size_t kChunkBytes = std::size_t{64} * 1024;

}  // namespace

void FileRepositoryBackend::Store(const std::vector<std::shared_ptr<BaseHandler>>& handlers) {
  QOR_FRAME();
  std::ofstream file(path_);
  if (!file.is_open()) return;

  // In chunks: neither the document nor its text is in memory as a whole.
  json::StringBuffer text;
  const auto write = [&] {
    file.write(text.GetString(), static_cast<std::streamsize>(text.GetSize()));
    text.Clear();
  };
  json::Writer<> writer(text);
  alignas(std::max_align_t) char memory[kRecordBytes];
  json::PoolAllocator allocator(memory, sizeof memory);
  writer.StartObject();
  writer.Key("handlers");
  writer.StartArray();
  for (const auto& handler : handlers) {
    json::Value entry;
    ToJson(handler, entry, allocator);
    entry.Accept(writer);
    allocator.Clear();
    if (text.GetSize() >= kChunkBytes) write();
  }
  writer.EndArray();
  writer.EndObject();
  write();
}

std::vector<std::shared_ptr<BaseHandler>> FileRepositoryBackend::Load() {
  QOR_FRAME();
  std::ifstream file(path_);
  if (file.fail()) throw NotInitialized(__FILE__, __LINE__, "");

  json::PoolAllocator allocator;
  json::Document document(&allocator, kParseStackBytes);
  rapidjson::IStreamWrapper stream(file);
  // Iterative, so that a deeply nested file cannot overflow the stack.
  document.ParseStream<rapidjson::kParseIterativeFlag>(stream);

  // operator[] asserts that the member exists; FindMember() does not.
  const json::Value& entries = static_cast<const json::Document&>(document)["handlers"];
  std::vector<std::shared_ptr<BaseHandler>> handlers;
  if (!entries.IsArray()) return handlers;
  for (const auto& entry : entries.GetArray()) handlers.push_back(FromJson(entry));
  return handlers;
}

void FileRepositoryBackend::ToJson(std::shared_ptr<BaseHandler> handler, json::Value& out,
                                   json::PoolAllocator& allocator) {
  const std::string type = Factory::Instance().Type(*handler);
  out.SetObject();
  out.AddMember("handlerType", json::Value(type.c_str(), allocator), allocator);
  json::Value data;
  handler->ToJson(data, allocator);
  out.AddMember("handlerData", data, allocator);
}

std::shared_ptr<BaseHandler> FileRepositoryBackend::FromJson(const json::Value& entry) {
  QOR_FRAME();
  const json::Value& type = entry["handlerType"];
  const std::string_view name(type.GetString(), type.GetStringLength());
  return Factory::Instance().CreateHandler(name, entry["handlerData"]);
}

}  // namespace handlers
