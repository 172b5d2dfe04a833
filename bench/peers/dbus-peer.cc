// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "peers/dbus-peer.h"

#include <fcntl.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstring>
#include <stdexcept>

#include "peers/meter.h"

namespace bench {

namespace {

constexpr char kName[] = "org.example.Bench";
constexpr char kPath[] = "/org/example/Bench";

sd_bus* Connect(const std::string& address) {
  sd_bus* bus = nullptr;
  RequireDBus(sd_bus_new(&bus), "sd_bus_new");
  RequireDBus(sd_bus_set_address(bus, address.c_str()), "sd_bus_set_address");
  RequireDBus(sd_bus_set_bus_client(bus, 1), "sd_bus_set_bus_client");
  RequireDBus(sd_bus_start(bus), "sd_bus_start");
  return bus;
}

// Replies to a command with its result: uuid, text, status, error.
int OnExecute(sd_bus_message* message, void*, sd_bus_error*) {
  const char* uuid = nullptr;
  const char* type = nullptr;
  const char* payload = nullptr;
  std::int64_t timestamp = 0;
  const int result = sd_bus_message_read(message, "sssx", &uuid, &type, &payload, &timestamp);
  if (result < 0) return result;
  return sd_bus_reply_method_return(message, "ssis", uuid, payload, 0, "");
}

const sd_bus_vtable kTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Execute", "sssx", "ssis", OnExecute, 0),
    SD_BUS_VTABLE_END,
};

void ProcessOne(sd_bus* bus) {
  const int result = sd_bus_process(bus, nullptr);
  RequireDBus(result, "sd_bus_process");
  if (result == 0) RequireDBus(sd_bus_wait(bus, UINT64_MAX), "sd_bus_wait");
}

void Serve(const std::string& address, int ready) {
  sd_bus* bus = Connect(address);
  RequireDBus(sd_bus_add_object_vtable(bus, nullptr, kPath, kName, kTable, nullptr), "vtable");
  RequireDBus(sd_bus_request_name(bus, kName, 0), "sd_bus_request_name");
  RequireDBus(static_cast<int>(write(ready, "x", 1)), "write");
  for (;;) ProcessOne(bus);
}

// The calls of one workload.
struct Calls {
  sd_bus* bus;
  Texts texts;
  Meter meter;
  std::size_t sent = 0;
  std::size_t done = 0;

  void Send() {
    sd_bus_message* call = nullptr;
    RequireDBus(sd_bus_message_new_method_call(bus, &call, kName, kPath, kName, "Execute"), "call");
    RequireDBus(
        sd_bus_message_append(call, "sssx", Texts::Uuid(sent).c_str(), texts.request_type.c_str(),
                              texts.payload.c_str(), std::int64_t{0}),
        "call");
    RequireDBus(sd_bus_call_async(bus, nullptr, call, OnAnswer, this, 0), "call");
    sd_bus_message_unref(call);
    ++sent;
  }

  static int OnAnswer(sd_bus_message* answer, void* data, sd_bus_error*) {
    const char* uuid = nullptr;
    const char* text = nullptr;
    const char* error = nullptr;
    std::int32_t status = -1;
    const int result = sd_bus_message_read(answer, "ssis", &uuid, &text, &status, &error);
    if (result < 0) return result;
    auto* calls = static_cast<Calls*>(data);
    calls->meter.Lap();
    ++calls->done;
    return 0;
  }
};

}  // namespace

void RequireDBus(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string(what) + ": " + std::strerror(-result));
}

DBusPeer::DBusPeer(std::unique_ptr<DBusBus> bus) : bus_(std::move(bus)) {
  int ready[2];
  RequireDBus(pipe2(ready, O_CLOEXEC), "pipe2");
  service_ = std::make_unique<ChildProcess>([&] {
    close(ready[0]);
    Serve(bus_->Address(), ready[1]);
  });
  close(ready[1]);
  char byte;
  const bool started = read(ready[0], &byte, 1) == 1;
  close(ready[0]);
  if (!started) throw std::runtime_error("cannot start the D-Bus service");
  connection_ = Connect(bus_->Address());
}

DBusPeer::~DBusPeer() { sd_bus_unref(connection_); }

Cost DBusPeer::Measure(const Workload& workload) {
  Calls calls{connection_, Texts(workload.payload_bytes), Meter(workload)};
  while (calls.done < workload.count) {
    while (calls.sent < workload.count && calls.sent < calls.done + workload.in_flight)
      calls.Send();
    ProcessOne(connection_);
  }
  return calls.meter.Finish();
}

}  // namespace bench
