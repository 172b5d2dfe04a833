// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/request-context.h"

#include <utility>

#include "common/exceptions.h"
#include "tizen/thread-utils.h"

namespace api {

using tizen::ThreadUtils;

RequestContext::RequestContext(rpc_port::stub::Command command, std::function<bool()> action,
                               ContextPlaces* places)
    : command_(std::make_shared<const rpc_port::stub::Command>(std::move(command))),
      timer_(std::move(action)),
      places_(places) {}

RequestContext::RequestContext(const RequestContext& other)
    : sent_(other.sent_), command_(other.command_), timer_(other.timer_), places_(nullptr) {}

void RequestContext::StartTimer(double seconds) {
  ThreadUtils::InvokeOnMainThreadSync([this, seconds] {
    const bool started = places_ != nullptr
                             ? timer_.Start(seconds, places_->PlaceOf(*this), &places_->Timers())
                             : timer_.Start(seconds);
    if (!started) {
      throw OperationFailed(__FILE__, __LINE__, "Could not initialize a timer.");
    }
  });
}

void RequestContext::StartTimer(double seconds, std::function<bool()> action) {
  timer_.SetTask(std::move(action));
  StartTimer(seconds);
}

void RequestContext::StopTimer() {
  ThreadUtils::InvokeOnMainThreadSync([this] { timer_.Stop(); });
}

void RequestContext::SetTimeout(double seconds) {
  ThreadUtils::InvokeOnMainThreadSync([this, seconds] { timer_.SetInterval(seconds); });
}

void RequestContext::EndTimer() { timer_.End(); }

}  // namespace api
