// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/request-context.h"

#include "common/exceptions.h"
#include "tizen/thread-utils.h"

namespace api {

using tizen::ThreadUtils;

RequestContext::RequestContext(rpc_port::stub::Command command, std::function<bool()> action)
    : command_(std::move(command)), timer_(std::move(action)) {}

void RequestContext::StartTimer(double seconds, EcoreTimerGroup& group,
                                EcoreTimerWrapper::FindOwner find_owner) {
  ThreadUtils::InvokeOnMainThreadSync([&] {
    if (!timer_.Start(seconds, group, std::move(find_owner))) {
      throw OperationFailed(__FILE__, __LINE__, "Could not initialize a timer.");
    }
  });
}

void RequestContext::StopTimer() {
  ThreadUtils::InvokeOnMainThreadSync([this] { timer_.Stop(); });
}

void RequestContext::SetTimeout(double seconds) {
  ThreadUtils::InvokeOnMainThreadSync([this, seconds] { timer_.SetInterval(seconds); });
}

}  // namespace api
