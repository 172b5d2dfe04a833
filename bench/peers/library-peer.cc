// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "peers/library-peer.h"

#include <Ecore.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>

#include "base/run-until.h"
#include "peers/meter.h"

namespace bench {

namespace {

constexpr int kCommandTimeoutMs = 600'000;
constexpr std::chrono::seconds kTimeoutSeconds{60};
// One core cannot start more processes together within their timeouts.
constexpr std::size_t kMaxConcurrentLaunches = 20;

// For the initializer list: the library reads the variable when agent_ is constructed.
int SetRoot(const std::string& root) {
  setenv("QOR_PLATFORM_ROOT", root.c_str(), 1);
  return kCommandTimeoutMs;
}

}  // namespace

LibraryPeer::LibraryPeer(const std::string& root) : agent_(SetRoot(root), kCommandTimeoutMs) {
  Connect(1);
}

void LibraryPeer::Send(const std::string& request_type, const std::string& payload) {
  const int code =
      qor_handler_manager_send_command(Texts::Uuid(sent_++).c_str(), request_type.c_str(),
                                       payload.c_str(), static_cast<int>(payload.size()), 0);
  if (code != 0) {
    throw std::runtime_error("cannot send " + request_type + ": error " + std::to_string(code));
  }
}

void LibraryPeer::SetOnResponse(OnResponse on_response) {
  on_response_ = std::move(on_response);
  qor_handler_manager_set_response_cb(
      [](const char*, qor_request_status_e status, const char*, int, const char*, int, void* data) {
        static_cast<LibraryPeer*>(data)->on_response_(static_cast<int>(status));
      },
      this);
}

void LibraryPeer::Connect(std::size_t count) {
  // Shared, because responses may arrive after the waits below.
  const auto answered = std::make_shared<std::size_t>(0);
  SetOnResponse([answered](int) { ++*answered; });
  for (std::size_t sent = 0; sent < count;) {
    for (; sent < count && sent < *answered + kMaxConcurrentLaunches; ++sent) {
      Send("text.echo." + std::to_string(sent), "{}");
    }
    const std::size_t before = *answered;
    if (!tools::RunUntil([&] { return *answered > before; }, kTimeoutSeconds)) {
      throw std::runtime_error("a handler failed to connect");
    }
  }
  tools::RunUntil([&] { return *answered == count; }, kTimeoutSeconds);
}

void LibraryPeer::LeavePending(std::size_t count, std::size_t payload_bytes, std::size_t handler) {
  const std::string payload(payload_bytes, 'x');
  for (std::size_t i = 0; i < count; ++i) {
    Send("text.silent." + std::to_string(handler), payload);
    // Lets the handler read the commands, so that no queue grows.
    if (i % kMaxConcurrentLaunches == 0) Connect(1);
  }
  Connect(1);
}

Cost LibraryPeer::Measure(const Workload& workload) {
  const Texts texts(workload.payload_bytes);
  std::vector<std::string> types;
  for (std::size_t i = 0; i < workload.handlers; ++i)
    types.push_back("text.echo." + std::to_string(i));
  Samples sends;
  sends.reserve(workload.count);
  std::size_t sent = 0;
  std::size_t done = 0;
  bool failed = false;
  Meter meter(workload);
  const auto send = [&] {
    Stopwatch watch;
    Send(types[sent++ % types.size()], texts.payload);
    sends.push_back(watch.Lap());
  };
  SetOnResponse([&](int status) {
    meter.Lap();
    ++done;
    failed = failed || status != QOR_REQUEST_STATUS_SUCCESS;
    if (failed || done == workload.count) {
      ecore_main_loop_quit();
    } else if (sent < workload.count) {
      send();
    }
  });
  while (sent < workload.count && sent < workload.in_flight) send();
  ecore_main_loop_begin();
  if (failed) throw std::runtime_error("a command failed");
  Cost cost = meter.Finish();
  cost.send = Median(sends);
  return cost;
}

}  // namespace bench
