// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_REQUEST_CONTEXT_H_
#define QOR_SRC_API_REQUEST_CONTEXT_H_

#include <functional>
#include <utility>

#include "ipc/records.h"
#include "tizen/timer-wrapper.h"

namespace api {

// A pending command and its timer. Timer operations run on the main loop's thread and may be called
// on any thread.
class RequestContext {
 public:
  RequestContext(rpc_port::stub::Command command, std::function<bool()> action);

  // Starts or restarts the timer; the parameters are those of EcoreTimerWrapper::Start(). Throws
  // OperationFailed if the platform creates no timer; there is none then.
  void StartTimer(double seconds, EcoreTimerGroup& group, EcoreTimerWrapper::FindOwner find_owner);
  void StopTimer();
  // Restarts the running timer with a new period.
  void SetTimeout(double seconds);
  // Deletes the timer unless it is marked as expired, as the destructor does.
  void EndTimer() { timer_.End(); }

  // Replaces the action that runs at the timeout.
  void SetAction(std::function<bool()> action) { timer_.SetTask(std::move(action)); }
  // Marks the timer as fired: the main loop deletes it.
  void SetExpired() { timer_.SetExpired(); }
  bool IsSent() const { return sent_; }
  void SetSent() { sent_ = true; }
  const rpc_port::stub::Command& GetCommand() const { return command_; }
  const EcoreTimerWrapper& Timer() const { return timer_; }

 private:
  bool sent_ = false;
  const rpc_port::stub::Command command_;
  EcoreTimerWrapper timer_;
};

}  // namespace api

#endif
