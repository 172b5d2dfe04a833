// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_REQUEST_CONTEXT_H_
#define QOR_SRC_API_REQUEST_CONTEXT_H_

#include <functional>
#include <memory>
#include <utility>

#include "ipc/records.h"
#include "tizen/timer-wrapper.h"

namespace api {

// One pending command. Contexts are copied, never moved: a copy shares command and timer of its
// original, without needing memory, and a destroyed context takes the timer with it. Timer
// operations run on the main loop's thread, whichever thread calls.
class RequestContext {
 public:
  RequestContext(rpc_port::stub::Command command, std::function<bool()> action);
  RequestContext(const RequestContext&) = default;
  RequestContext& operator=(const RequestContext&) = default;

  // Where this command's timers are bound to.
  const std::shared_ptr<TimerPlace>& Place() const { return timer_.Place(); }
  void Occupy(std::shared_ptr<TimerPlace> place) { timer_.Occupy(std::move(place)); }

  // Starts the timer, or starts it anew. Throws OperationFailed, without a timer, when the platform
  // gives none.
  void StartTimer(double seconds);
  // The same with another timeout action.
  void StartTimer(double seconds, std::function<bool()> action);
  void StopTimer();
  // Gives the running timer this many seconds from now.
  void SetTimeout(double seconds);

  // The timer has fired: the main loop deletes it.
  void SetExpired() { timer_.SetExpired(); }
  bool IsSent() const { return sent_; }
  void SetSent() { sent_ = true; }
  const rpc_port::stub::Command& GetCommand() const { return *command_; }

 private:
  bool sent_ = false;
  std::shared_ptr<const rpc_port::stub::Command> command_;
  EcoreTimerWrapper timer_;
};

}  // namespace api

#endif
