// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Fails each allocation of a stub and a proxy of this process in turn.
#include <gtest/gtest.h>
#include <rpc-port-parcel.h>

#include <cstdlib>
#include <functional>
#include <memory>
#include <new>
#include <string>
#include <utility>

#include "fault-injection/allocation-failure.h"
#include "platform/linux/rpc-port/port.h"
#include "platform/linux/tests/support/loop.h"
#include "platform/linux/tests/support/sockets.h"
#include "platform/linux/tests/support/test-root.h"

namespace platform::test {
namespace {

bool is_inside = false;

// Returns the result of a C function. Only allocations in C functions and in the main loop fail.
template <typename Function, typename... Arguments>
int Call(Function function, Arguments... arguments) {
  is_inside = true;
  const int result = function(arguments...);
  is_inside = false;
  return result;
}

int SendText(const char* text, rpc_port_h port) {
  rpc_port_parcel_h parcel = nullptr;
  int result = rpc_port_parcel_create(&parcel);
  if (result != RPC_PORT_ERROR_NONE) return result;
  result = rpc_port_parcel_write_string(parcel, text);
  if (result == RPC_PORT_ERROR_NONE) result = rpc_port_parcel_send(parcel, port);
  rpc_port_parcel_destroy(parcel);
  return result;
}

int TakeText(rpc_port_h port, const char* expected) {
  rpc_port_parcel_h parcel = nullptr;
  int result = rpc_port_parcel_create_from_port(&parcel, port);
  if (result != RPC_PORT_ERROR_NONE) return result;
  char* text = nullptr;
  result = rpc_port_parcel_read_string(parcel, &text);
  if (result == RPC_PORT_ERROR_NONE) {
    EXPECT_STREQ(text, expected);
  }
  std::free(text);
  rpc_port_parcel_destroy(parcel);
  return result;
}

// A round trip over a connection, both ends of which are in this process.
class Exchange {
 public:
  Exchange() = default;
  Exchange(const Exchange&) = delete;
  Exchange& operator=(const Exchange&) = delete;
  ~Exchange() {
    if (proxy_ != nullptr) rpc_port_proxy_destroy(proxy_);
    if (stub_ != nullptr) rpc_port_stub_destroy(stub_);
  }

  // Returns the first error code. Disconnection is RPC_PORT_ERROR_IO_ERROR.
  int Run(const char* app_id) {
    if (const int result = Prepare(app_id)) return result;
    if (!Await(&is_connected_)) return RPC_PORT_ERROR_IO_ERROR;
    rpc_port_h port = nullptr;
    if (const int result = Call(rpc_port_proxy_get_port, proxy_, RPC_PORT_PORT_MAIN, &port))
      return result;
    if (const int result = Call(SendText, "request", port)) return result;
    return Await(&is_answered_) ? RPC_PORT_ERROR_NONE : RPC_PORT_ERROR_IO_ERROR;
  }

 private:
  int Prepare(const char* app_id) {
    if (const int result = Call(rpc_port_stub_create, &stub_, "port")) return result;
    if (const int result = Call(rpc_port_stub_add_received_event_cb, stub_, OnRequest, this))
      return result;
    if (const int result = Call(rpc_port_stub_listen, stub_)) return result;
    if (const int result = Call(rpc_port_proxy_create, &proxy_)) return result;
    if (const int result = Call(rpc_port_proxy_add_connected_event_cb, proxy_, OnConnected, this))
      return result;
    if (const int result = Call(rpc_port_proxy_add_rejected_event_cb, proxy_, OnClosed, this))
      return result;
    if (const int result = Call(rpc_port_proxy_add_disconnected_event_cb, proxy_, OnClosed, this))
      return result;
    if (const int result = Call(rpc_port_proxy_add_received_event_cb, proxy_, OnAnswer, this))
      return result;
    return Call(rpc_port_proxy_connect, proxy_, app_id, "port");
  }

  // Runs the loop until the condition holds or the connection is closed. Returns whether it holds.
  bool Await(const bool* condition) {
    const std::function<bool()> is_done = [&] { return *condition || is_closed_; };
    EXPECT_EQ(Call(RunLoopUntil, std::cref(is_done)), 1) << "the failure is not reported";
    return *condition;
  }

  static int OnRequest(const char*, const char* instance, rpc_port_h port, void* data) {
    if (const int result = TakeText(port, "request")) return result;
    rpc_port_h callback = nullptr;
    if (const int result = rpc_port_stub_get_port(static_cast<Exchange*>(data)->stub_,
                                                  RPC_PORT_PORT_CALLBACK, instance, &callback))
      return result;
    return SendText("answer", callback);
  }
  static void OnConnected(const char*, const char*, rpc_port_h, void* data) {
    static_cast<Exchange*>(data)->is_connected_ = true;
  }
  static void OnClosed(const char*, const char*, void* data) {
    static_cast<Exchange*>(data)->is_closed_ = true;
  }
  static void OnAnswer(const char*, const char*, void* data) {
    auto* self = static_cast<Exchange*>(data);
    rpc_port_h port = nullptr;
    rpc_port_proxy_get_port(self->proxy_, RPC_PORT_PORT_CALLBACK, &port);
    const bool is_taken = TakeText(port, "answer") == RPC_PORT_ERROR_NONE;
    (is_taken ? self->is_answered_ : self->is_closed_) = true;
  }

  rpc_port_stub_h stub_ = nullptr;
  rpc_port_proxy_h proxy_ = nullptr;
  bool is_connected_ = false;
  bool is_answered_ = false;
  bool is_closed_ = false;
};

TEST(AllocationFailure, FailuresAreReported) {
  StartEcore();
  const TestRoot root;
  const std::string app_id = OwnAppId();
  ASSERT_EQ(Exchange().Run(app_id.c_str()), RPC_PORT_ERROR_NONE);
  long nth = 1;
  for (;; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    bool has_failed = false;
    {
      fault_injection::AllocationFailure failure(nth, [] { return is_inside; });
      failure.Arm();
      const int result = Exchange().Run(app_id.c_str());
      has_failed = failure.HasFailed();
      EXPECT_TRUE(result == RPC_PORT_ERROR_NONE || result == RPC_PORT_ERROR_OUT_OF_MEMORY ||
                  result == RPC_PORT_ERROR_IO_ERROR)
          << result;
    }
    EXPECT_EQ(Exchange().Run(app_id.c_str()), RPC_PORT_ERROR_NONE);
    if (HasFailure() || !has_failed) break;
  }
  RecordProperty("allocations", static_cast<int>(nth - 1));
  EXPECT_GT(nth, 20);
}

TEST(AllocationFailure, FailureInsideFrameClosesConnection) {
  StartEcore();
  auto ends = SocketPair();
  const auto partner = std::make_shared<rpc::Port>(std::move(ends.first));
  // More than the socket buffer, so that the rest must be queued.
  const auto frame = FrameOf(3 << 20, 'x');
  for (long nth = 1;; ++nth) {
    SCOPED_TRACE("allocation " + std::to_string(nth));
    auto pair = SocketPair();
    const auto sender = std::make_shared<rpc::Port>(std::move(pair.first));
    sender->Open(partner);
    fault_injection::AllocationFailure failure(nth, [] { return true; });
    failure.Arm();
    bool has_thrown = false;
    try {
      sender->Send({frame.data(), frame.size()});
    } catch (const std::bad_alloc&) {
      has_thrown = true;
    }
    const bool has_failed = failure.HasFailed();
    EXPECT_EQ(has_thrown, has_failed);
    EXPECT_EQ(sender->IsShutDown(), has_failed);
    sender->Close();
    if (HasFailure() || !has_failed) break;
    EXPECT_LT(nth, 10);
  }
  partner->Close();
}

}  // namespace
}  // namespace platform::test
