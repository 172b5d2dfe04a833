// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The peer process of the rpc-port tests. Reads commands from standard input and writes results and
// events to standard output, one per line.

#include <Ecore.h>
#include <rpc-port-parcel.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <iostream>
#include <sstream>
#include <string>

namespace {

rpc_port_stub_h stub = nullptr;
rpc_port_proxy_h proxy = nullptr;

void Print(const std::string& line) {
  std::printf("%s\n", line.c_str());
  std::fflush(stdout);
}

int SendText(rpc_port_h port, const std::string& verb, const std::string& text) {
  rpc_port_parcel_h parcel = nullptr;
  rpc_port_parcel_create(&parcel);
  rpc_port_parcel_write_string(parcel, verb.c_str());
  rpc_port_parcel_write_string(parcel, text.c_str());
  const int result = rpc_port_parcel_send(parcel, port);
  rpc_port_parcel_destroy(parcel);
  return result;
}

std::string ReadString(rpc_port_parcel_h parcel) {
  char* raw = nullptr;
  rpc_port_parcel_read_string(parcel, &raw);
  const std::string text(raw == nullptr ? "" : raw);
  std::free(raw);
  return text;
}

bool TakeText(rpc_port_h port, std::string* verb, std::string* text) {
  rpc_port_parcel_h parcel = nullptr;
  if (rpc_port_parcel_create_from_port(&parcel, port) != RPC_PORT_ERROR_NONE) return false;
  *verb = ReadString(parcel);
  *text = ReadString(parcel);
  rpc_port_parcel_destroy(parcel);
  return true;
}

// Handles the request of a proxy.
int OnReceived(const char*, const char* instance, rpc_port_h port, void*) {
  std::string verb;
  std::string text;
  if (!TakeText(port, &verb, &text)) return -1;
  rpc_port_h callback = nullptr;
  rpc_port_stub_get_port(stub, RPC_PORT_PORT_CALLBACK, instance, &callback);
  if (verb == "echo") return SendText(port, "echoed", text);
  if (verb == "push") {
    for (int i = 0; i < std::stoi(text); ++i) SendText(callback, "pushed", std::to_string(i));
  }
  if (verb == "push-this") SendText(callback, "pushed", text);
  if (verb == "take-callback") {
    if (!TakeText(callback, &verb, &text)) return -1;
    SendText(port, "taken", text);
  }
  if (verb == "fail") return -1;
  if (verb == "disconnect") rpc_port_disconnect(port);
  if (verb == "exit") _exit(0);
  return 0;
}

void StubConnected(const char* sender, const char*, void*) {
  Print(std::string("connected ") + sender);
}

void StubDisconnected(const char* sender, const char*, void*) {
  Print(std::string("disconnected ") + sender);
}

void Listen(std::istringstream* arguments) {
  std::string port;
  std::string privilege;
  *arguments >> port;
  rpc_port_stub_create(&stub, port.c_str());
  while (*arguments >> privilege) rpc_port_stub_add_privilege(stub, privilege.c_str());
  rpc_port_stub_add_connected_event_cb(stub, StubConnected, nullptr);
  rpc_port_stub_add_disconnected_event_cb(stub, StubDisconnected, nullptr);
  rpc_port_stub_add_received_event_cb(stub, OnReceived, nullptr);
  Print("listen " + std::to_string(rpc_port_stub_listen(stub)));
}

void ProxyReceived(const char*, const char*, void*) {
  rpc_port_h port = nullptr;
  std::string verb;
  std::string text;
  rpc_port_proxy_get_port(proxy, RPC_PORT_PORT_CALLBACK, &port);
  if (TakeText(port, &verb, &text)) Print("received " + text);
}

void Connect(std::istringstream* arguments) {
  std::string app_id;
  std::string port;
  *arguments >> app_id >> port;
  rpc_port_proxy_create(&proxy);
  rpc_port_proxy_add_connected_event_cb(
      proxy, [](const char*, const char*, rpc_port_h, void*) { Print("connected"); }, nullptr);
  rpc_port_proxy_add_disconnected_event_cb(
      proxy, [](const char*, const char*, void*) { Print("disconnected"); }, nullptr);
  rpc_port_proxy_add_rejected_event_cb(
      proxy, [](const char*, const char*, void*) { Print("rejected"); }, nullptr);
  rpc_port_proxy_add_received_event_cb(proxy, ProxyReceived, nullptr);
  const int result = rpc_port_proxy_connect(proxy, app_id.c_str(), port.c_str());
  if (result != RPC_PORT_ERROR_NONE) Print("connect " + std::to_string(result));
}

void Call(std::istringstream* arguments, bool waits) {
  std::string verb;
  std::string text;
  rpc_port_h port = nullptr;
  *arguments >> verb >> text;
  rpc_port_proxy_get_port(proxy, RPC_PORT_PORT_MAIN, &port);
  const int sent = SendText(port, verb, text);
  if (!waits) return;
  if (sent == RPC_PORT_ERROR_NONE && TakeText(port, &verb, &text)) {
    Print(verb + " " + text);
  } else {
    Print("call failed");
  }
}

void Execute(const std::string& line) {
  std::istringstream arguments(line);
  std::string command;
  arguments >> command;
  if (command == "listen") Listen(&arguments);
  if (command == "connect") Connect(&arguments);
  if (command == "call") Call(&arguments, true);
  if (command == "send") Call(&arguments, false);
}

// The test writes one command at a time, with one write() each.
Eina_Bool ReadCommands(void*, Ecore_Fd_Handler*) {
  char some[4096];
  const ssize_t count = read(STDIN_FILENO, some, sizeof(some));
  if (count <= 0) {
    ecore_main_loop_quit();
    return ECORE_CALLBACK_CANCEL;
  }
  std::istringstream lines(std::string(some, static_cast<size_t>(count)));
  for (std::string line; std::getline(lines, line);) Execute(line);
  return ECORE_CALLBACK_RENEW;
}

}  // namespace

int main() {
  ecore_init();
  ecore_main_fd_handler_add(STDIN_FILENO, ECORE_FD_READ, ReadCommands, nullptr, nullptr, nullptr);
  ecore_main_loop_begin();
  return 0;
}
