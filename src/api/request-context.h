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

class RequestContext;

// The list that contexts are in: knows the place of each and owns the timers started there.
class ContextPlaces {
 public:
  virtual std::shared_ptr<const TimerPlace> PlaceOf(const RequestContext& context) = 0;
  virtual EcoreTimerGroup& Timers() = 0;

 protected:
  ~ContextPlaces() = default;
};

// One pending command. A copy shares command and timer of its original, without needing memory, and
// stands nowhere; a destroyed context takes the timer with it. Timer operations run on the main
// loop's thread, whichever thread calls.
class RequestContext {
 public:
  // Its timers are bound to its place among `places`, or to itself where there are none.
  RequestContext(rpc_port::stub::Command command, std::function<bool()> action,
                 ContextPlaces* places = nullptr);
  RequestContext(const RequestContext& other);
  RequestContext& operator=(const RequestContext&) = delete;

  // Starts the timer, or starts it anew. Throws OperationFailed, without a timer, when the platform
  // gives none.
  void StartTimer(double seconds);
  // The same with another timeout action.
  void StartTimer(double seconds, std::function<bool()> action);
  void StopTimer();
  // Gives the running timer this many seconds from now.
  void SetTimeout(double seconds);
  // Deletes the timer as the end of a context does: unless it is marked as expired.
  void EndTimer();

  // The timer has fired: the main loop deletes it.
  void SetExpired() { timer_.SetExpired(); }
  bool IsSent() const { return sent_; }
  void SetSent() { sent_ = true; }
  const rpc_port::stub::Command& GetCommand() const { return *command_; }
  const EcoreTimerWrapper& Timer() const { return timer_; }

 private:
  bool sent_ = false;
  std::shared_ptr<const rpc_port::stub::Command> command_;
  EcoreTimerWrapper timer_;
  ContextPlaces* places_;
};

}  // namespace api

#endif
