// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORDER_SCOPE_H_
#define QOR_TOOLS_RECORDER_SCOPE_H_

namespace tools::recorder {

// The operation that this thread is executing: a wrapper can find out within which call of another
// wrapper it runs. `Tag` distinguishes scopes.
template <typename Tag>
class Scope {
 public:
  // Borrows the text.
  explicit Scope(const char* text) : outer_(current_) { current_ = text; }
  Scope(const Scope&) = delete;
  Scope& operator=(const Scope&) = delete;
  ~Scope() { current_ = outer_; }

  // Null outside of such scopes.
  static const char* Current() { return current_; }

 private:
  static inline thread_local const char* current_ = nullptr;
  const char* outer_;
};

// The client is sending the command with this uuid.
using SendScope = Scope<struct SendTag>;
// The handler with this application id is calling a method.
using ReceiveScope = Scope<struct ReceiveTag>;

}  // namespace tools::recorder

#endif
