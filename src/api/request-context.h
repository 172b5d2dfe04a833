// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_API_REQUEST_CONTEXT_H_
#define QOR_SRC_API_REQUEST_CONTEXT_H_

#include <functional>
#include <utility>

#include "ipc/records.h"
#include "tizen/timer-wrapper.h"

namespace api {

// One pending command. Its timer ends with it. Timer operations run on the main loop's thread,
// whichever thread calls.
class RequestContext {
 public:
  RequestContext(rpc_port::stub::Command command, std::function<bool()> action);

  // Starts the timer, or restarts it; the parameters are those of EcoreTimerWrapper::Start().
  // Throws OperationFailed, without a timer, when the platform gives none.
  void StartTimer(double seconds, EcoreTimerGroup& group, EcoreTimerWrapper::FindOwner find_owner);
  void StopTimer();
  // Gives the running timer this many seconds from now.
  void SetTimeout(double seconds);
  // Deletes the timer as the destructor does: unless it is marked as expired.
  void EndTimer() { timer_.End(); }

  // What happens at the timeout, instead of the action until now.
  void SetAction(std::function<bool()> action) { timer_.SetTask(std::move(action)); }
  // The timer has fired: the main loop deletes it.
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
