// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ipc/active-object.h"

namespace rpc_port {
namespace stub {
namespace stub {

ActiveObject::ActiveObject() : worker_([this] { Work(); }) {}

ActiveObject::~ActiveObject() {
  queue_.Append(stop_);
  worker_.join();
}

void ActiveObject::Work() {
  for (;;) {
    const std::shared_ptr<Job> job = queue_.WaitAndPop();
    if (job->IsDone()) return;
    job->Run();
  }
}

}  // namespace stub
}  // namespace stub
}  // namespace rpc_port
