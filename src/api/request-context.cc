// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/request-context.h"

#include <utility>

#include "common/exceptions.h"
#include "tizen/thread-utils.h"

namespace api {

using tizen::ThreadUtils;

RequestContext::RequestContext(rpc_port::stub::Command command, std::function<bool()> action)
    : command_(std::make_shared<const rpc_port::stub::Command>(std::move(command))),
      timer_(std::move(action)) {}

void RequestContext::StartTimer(double seconds) {
  ThreadUtils::InvokeOnMainThreadSync([this, seconds] {
    if (!timer_.Start(seconds)) {
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

}  // namespace api
