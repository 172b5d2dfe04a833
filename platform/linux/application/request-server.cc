// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/application/request-server.h"

#include <dlog.h>

#include <exception>
#include <string>
#include <utility>

#include "platform/linux/app-control/received-request.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/process-identity.h"

namespace platform {
namespace {

constexpr char kLogTag[] = "APPCORE";

}  // namespace

RequestServer::RequestServer(UniqueFd listening_socket, Callback callback)
    : callback_(std::move(callback)), server_(std::move(listening_socket), kLogTag, this) {}

void RequestServer::OnMessage(const std::vector<uint8_t>& bytes, const PeerCredentials& sender,
                              const UniqueFd& connection) noexcept {
  try {
    const std::string caller = IdentifyProcess(sender.pid).app_id;
    // Before the callback, which may run long or exit the process: the sender would otherwise
    // repeat a request that has been received.
    if (!bytes.empty()) Acknowledge(connection.Get());
    app_control_h request = nullptr;
    if (bytes.empty() || platform_app_control_receive(bytes.data(), bytes.size(), caller.c_str(),
                                                      &request) != APP_CONTROL_ERROR_NONE) {
      dlog_print(DLOG_WARN, kLogTag, "dropped a message from \"%s\" that is not a launch request",
                 caller.c_str());
      return;
    }
    callback_(request);
    app_control_destroy(request);
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kLogTag, "lost a launch request: %s", error.what());
  }
}

}  // namespace platform
