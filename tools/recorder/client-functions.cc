// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Wrappers of the library's C functions.

#include <qor_handler_manager.h>

#include <atomic>
#include <cmath>
#include <string_view>

#include "common/timeout-errors.h"
#include "recorder/real.h"
#include "recorder/recorder.h"
#include "recorder/scope.h"
#include "recorder/target.h"

namespace tools::recorder {

namespace {

constexpr int kGranted = 0;
constexpr int kRefused = 1;

// Whether the initialized library calls the callbacks of this file.
std::atomic<bool> response_cb_set{false};
std::atomic<bool> negotiation_cb_set{false};

void OnResponse(const char* uuid, qor_request_status_e status, const char* result, int result_len,
                const char* error, int error_len, void* user_data) {
  // The library reports answers while it receives a handler's call, timeouts from the main loop.
  const char* handler = ReceiveScope::Current();
  const common::Timeout timeout = common::TimeoutOf(Text(error));
  if (handler == nullptr && timeout != common::Timeout::kNone) {
    Record("timed-out", [&](json::ValueWriter& json) {
      json.Member("uuid", Text(uuid))
          .Member("limit", timeout == common::Timeout::kConnection ? "connection" : "execution");
    });
  } else {
    Record("answered", [&](json::ValueWriter& json) {
      json.Member("uuid", Text(uuid))
          .Member("handler", Text(handler))
          .Member("status", static_cast<int>(status))
          .Member("result", Text(result))
          .Member("error", Text(error));
    });
  }
  const auto& [callback, data] = TargetFrom<qor_handler_manager_response_cb>(user_data);
  if (callback != nullptr) callback(uuid, status, result, result_len, error, error_len, data);
}

int OnNegotiation(const char* handler, const char* uuid, double seconds, void* user_data) {
  const auto& [callback, data] = TargetFrom<qor_handler_manager_negotiate_request_cb>(user_data);
  const std::int64_t asked = Now();
  const int answer = callback != nullptr ? callback(handler, uuid, seconds, data) : kGranted;
  Recorder::Get().Write(asked, "extension", [&](json::ValueWriter& json) {
    json.Member("uuid", Text(uuid))
        .Member("handler", Text(handler))
        .Member("seconds", std::isfinite(seconds) ? seconds : 0)  // JSON has no infinity.
        .Member("granted", answer != kRefused);
  });
  return answer;
}

// Records answers and extensions of clients that set no callbacks. Must be called only while the
// library is initialized, because setting a callback initializes it.
void SetMissingCallbacks() {
  if (!response_cb_set.exchange(true)) {
    QOR_REAL(kClientLibrary, qor_handler_manager_set_response_cb)
    (OnResponse, KeepTarget<qor_handler_manager_response_cb>(nullptr, nullptr));
  }
  if (!negotiation_cb_set.exchange(true)) {
    QOR_REAL(kClientLibrary, qor_handler_manager_set_negotiate_request_cb)
    (OnNegotiation, KeepTarget<qor_handler_manager_negotiate_request_cb>(nullptr, nullptr));
  }
}

}  // namespace

}  // namespace tools::recorder

using tools::recorder::KeepTarget;
using tools::recorder::negotiation_cb_set;
using tools::recorder::OnNegotiation;
using tools::recorder::OnResponse;
using tools::recorder::Record;
using tools::recorder::response_cb_set;
using tools::recorder::SendScope;
using tools::recorder::SetMissingCallbacks;
using tools::recorder::Text;

int qor_handler_manager_send_command(const char* uuid, const char* request_type,
                                     const char* payload, int payload_len, time_t timestamp) {
  const SendScope scope(uuid);
  Record("sent", [&](json::ValueWriter& json) {
    json.Member("uuid", Text(uuid))
        .Member("type", Text(request_type))
        .Member("payload", Text(payload));
  });
  const int code = QOR_REAL(kClientLibrary, qor_handler_manager_send_command)(
      uuid, request_type, payload, payload_len, timestamp);
  if (code == QOR_HANDLER_MANAGER_ERROR_NONE) {
    Record("accepted", [&](json::ValueWriter& json) { json.Member("uuid", Text(uuid)); });
    SetMissingCallbacks();
  } else {
    Record("refused",
           [&](json::ValueWriter& json) { json.Member("uuid", Text(uuid)).Member("code", code); });
  }
  return code;
}

int qor_handler_manager_set_response_cb(qor_handler_manager_response_cb callback, void* user_data) {
  const auto real = QOR_REAL(kClientLibrary, qor_handler_manager_set_response_cb);
  if (callback == nullptr) return real(callback, user_data);
  const int code = real(OnResponse, KeepTarget(callback, user_data));
  if (code == QOR_HANDLER_MANAGER_ERROR_NONE) response_cb_set = true;
  return code;
}

int qor_handler_manager_set_negotiate_request_cb(qor_handler_manager_negotiate_request_cb callback,
                                                 void* user_data) {
  const auto real = QOR_REAL(kClientLibrary, qor_handler_manager_set_negotiate_request_cb);
  if (callback == nullptr) return real(callback, user_data);
  const int code = real(OnNegotiation, KeepTarget(callback, user_data));
  if (code == QOR_HANDLER_MANAGER_ERROR_NONE) negotiation_cb_set = true;
  return code;
}

int qor_handler_manager_shutdown() {
  const int code = QOR_REAL(kClientLibrary, qor_handler_manager_shutdown)();
  if (code == QOR_HANDLER_MANAGER_ERROR_NONE) {
    response_cb_set = false;
    negotiation_cb_set = false;
    Record("stopped", [](json::ValueWriter&) {});
  }
  return code;
}
