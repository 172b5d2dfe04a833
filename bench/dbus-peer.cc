// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "dbus-peer.h"

#include <fcntl.h>
#include <systemd/sd-bus.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace bench {

namespace {

constexpr char kName[] = "org.example.Bench";
constexpr char kPath[] = "/org/example/Bench";
constexpr unsigned kTimeoutMicroseconds = 10'000'000;

void Require(int result, const char* what) {
  if (result < 0) throw std::runtime_error(std::string(what) + " failed");
}

std::string Config(const std::string& address) {
  return "<busconfig><type>session</type><listen>" + address +
         "</listen><auth>EXTERNAL</auth><policy context=\"default\"><allow send_destination=\"*\"/>"
         "<allow own=\"*\"/><allow eavesdrop=\"false\"/></policy></busconfig>";
}

sd_bus* Connect(const std::string& address) {
  sd_bus* bus = nullptr;
  Require(sd_bus_new(&bus), "sd_bus_new");
  Require(sd_bus_set_address(bus, address.c_str()), "sd_bus_set_address");
  Require(sd_bus_set_bus_client(bus, 1), "sd_bus_set_bus_client");
  Require(sd_bus_start(bus), "sd_bus_start");
  return bus;
}

// Takes a command, gives its result: uuid, text, status, error.
int OnExecute(sd_bus_message* message, void*, sd_bus_error*) {
  const char* uuid = nullptr;
  const char* type = nullptr;
  const char* payload = nullptr;
  long long timestamp = 0;
  const int result = sd_bus_message_read(message, "sssx", &uuid, &type, &payload, &timestamp);
  if (result < 0) return result;
  return sd_bus_reply_method_return(message, "ssis", uuid, payload, 0, "");
}

const sd_bus_vtable kTable[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("Execute", "sssx", "ssis", OnExecute, 0),
    SD_BUS_VTABLE_END,
};

void Serve(const std::string& address, int ready) {
  sd_bus* bus = Connect(address);
  Require(sd_bus_add_object_vtable(bus, nullptr, kPath, kName, kTable, nullptr), "vtable");
  Require(sd_bus_request_name(bus, kName, 0), "sd_bus_request_name");
  Require(static_cast<int>(write(ready, "x", 1)), "write");
  for (;;) {
    const int result = sd_bus_process(bus, nullptr);
    if (result < 0) return;
    if (result == 0) sd_bus_wait(bus, UINT64_MAX);
  }
}

// Waits for the other process to write one byte.
void Await(int pipe_end, const char* what) {
  char byte;
  if (read(pipe_end, &byte, 1) != 1) throw std::runtime_error(std::string(what) + " did not start");
}

}  // namespace

DBusPeer::DBusPeer() {
  char folder[] = "/tmp/qor-bench-XXXXXX";
  if (mkdtemp(folder) == nullptr) throw std::runtime_error("mkdtemp failed");
  folder_ = folder;
  const std::string address = "unix:path=" + folder_ + "/bus";
  const std::string config = folder_ + "/bus.conf";
  std::ofstream(config) << Config(address);

  int ready[2];
  Require(pipe2(ready, 0), "pipe2");
  daemon_ = std::make_unique<ChildProcess>([&] {
    const std::string config_option = "--config-file=" + config;
    const std::string print_option = "--print-address=" + std::to_string(ready[1]);
    // It complains of limits that it may not raise and that do not matter here.
    dup2(open("/dev/null", O_WRONLY), STDERR_FILENO);
    execlp("dbus-daemon", "dbus-daemon", "--nofork", config_option.c_str(), print_option.c_str(),
           nullptr);
  });
  Await(ready[0], "dbus-daemon");
  close(ready[0]);
  close(ready[1]);

  Require(pipe2(ready, O_CLOEXEC), "pipe2");
  service_ = std::make_unique<ChildProcess>([&] { Serve(address, ready[1]); });
  Await(ready[0], "the D-Bus service");
  close(ready[0]);
  close(ready[1]);
  bus_ = Connect(address);
}

DBusPeer::~DBusPeer() {
  sd_bus_unref(bus_);
  std::filesystem::remove_all(folder_);
}

void DBusPeer::Measure(std::size_t count, std::size_t payload_bytes, std::vector<double>& samples) {
  const Texts texts(payload_bytes);
  Stopwatch watch;
  for (std::size_t i = 0; i < count; ++i) {
    sd_bus_message* call = nullptr;
    sd_bus_message* reply = nullptr;
    const char* uuid = nullptr;
    const char* result = nullptr;
    const char* error = nullptr;
    int status = -1;
    Require(sd_bus_message_new_method_call(bus_, &call, kName, kPath, kName, "Execute"),
            "new call");
    Require(sd_bus_message_append(call, "sssx", texts.uuid.c_str(), texts.request_type.c_str(),
                                  texts.payload.c_str(), static_cast<long long>(i)),
            "append");
    Require(sd_bus_call(bus_, call, kTimeoutMicroseconds, nullptr, &reply), "call");
    Require(sd_bus_message_read(reply, "ssis", &uuid, &result, &status, &error), "read");
    sd_bus_message_unref(call);
    sd_bus_message_unref(reply);
    samples.push_back(watch.Lap());
  }
}

}  // namespace bench
