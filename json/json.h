// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef JSON_JSON_H_
#define JSON_JSON_H_

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstddef>
#include <cstdlib>
#include <new>

// RapidJSON's types with an allocator that throws when out of memory. The default allocator returns
// null, and the containers write to it.

namespace json {

// Implements the allocator concept of rapidjson/allocators.h. Throws std::bad_alloc.
class Allocator {
 public:
  static const bool kNeedFree = true;

  void* Malloc(std::size_t size) { return Realloc(nullptr, 0, size); }
  void* Realloc(void* memory, std::size_t, std::size_t size) {
    if (size == 0) {
      std::free(memory);
      return nullptr;
    }
    void* result = std::realloc(memory, size);
    if (result == nullptr) throw std::bad_alloc();
    return result;
  }
  static void Free(void* memory) { std::free(memory); }
};

using PoolAllocator = rapidjson::MemoryPoolAllocator<Allocator>;
using Value = rapidjson::GenericValue<rapidjson::UTF8<>, PoolAllocator>;
using Document = rapidjson::GenericDocument<rapidjson::UTF8<>, PoolAllocator, Allocator>;
using StringBuffer = rapidjson::GenericStringBuffer<rapidjson::UTF8<>, Allocator>;
template <unsigned kFlags = rapidjson::kWriteDefaultFlags>
using Writer =
    rapidjson::Writer<StringBuffer, rapidjson::UTF8<>, rapidjson::UTF8<>, Allocator, kFlags>;

}  // namespace json

#endif
