// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORDER_SCOPE_H_
#define QOR_TOOLS_RECORDER_SCOPE_H_

namespace tools::recorder {

// What this thread is in the middle of: lets a call at one boundary know what came in at another.
// `Tag` only tells the scopes apart.
template <typename Tag>
class Scope {
 public:
  // The text must last as long.
  explicit Scope(const char* text) : outer_(current_) { current_ = text; }
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;
  ~Scope() { current_ = outer_; }

  // Null outside of every such scope.
  static const char* Current() { return current_; }

 private:
  static inline thread_local const char* current_ = nullptr;
  const char* outer_;
};

// The client sends the command with this uuid.
using SendScope = Scope<struct SendTag>;
// The handler with this application id calls a method.
using ReceiveScope = Scope<struct ReceiveTag>;

}  // namespace tools::recorder

#endif
