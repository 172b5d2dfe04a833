// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An agent that follows the protocol only as far as the test commands, without the library and
// without the checks of the platform's own server side. Reads commands from standard input and
// prints the outcome of each on standard output, one line each.

#include <bundle.h>
#include <bundle_internal.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

#include "frames.h"
#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/process-identity.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/rpc-port/handshake.h"
#include "platform/linux/rpc-port/owned-socket.h"

namespace {

namespace rpc = platform::rpc;
namespace wire = qor::internal::wire;
using platform::UniqueFd;
using security::ReceiveFrame;
using security::Send;

// Kinds of parcels, and the callback that delivers commands.
constexpr int kReply = 0;
constexpr int kCallback = 1;
constexpr int kOnCommandReceived = 1;

wire::Parcel NewParcel(int kind) {
  rpc_port_parcel_h parcel = nullptr;
  rpc_port_parcel_create(&parcel);
  rpc_port_parcel_write_int32(parcel, kind);
  return wire::Parcel(parcel);
}

wire::Parcel Delivery(const std::string& uuid, const std::string& type,
                      const std::string& payload) {
  wire::Parcel parcel = NewParcel(kCallback);
  rpc_port_parcel_write_int32(parcel.get(), kOnCommandReceived);
  rpc_port_parcel_write_int32(parcel.get(), 0);
  rpc_port_parcel_write_bool(parcel.get(), false);
  for (const std::string& text : {uuid, uuid, type, payload}) {
    rpc_port_parcel_write_string(parcel.get(), text.c_str());
  }
  rpc_port_parcel_write_int64(parcel.get(), 1'700'000'000);
  const std::unique_ptr<bundle, decltype(&bundle_free)> extra(bundle_create(), bundle_free);
  rpc_port_parcel_write_bundle(parcel.get(), extra.get());
  return parcel;
}

wire::Parcel Reply(bool answer) {
  wire::Parcel parcel = NewParcel(kReply);
  rpc_port_parcel_write_bool(parcel.get(), answer);
  return parcel;
}

std::vector<uint8_t> BytesOf(const wire::Parcel& parcel) {
  const platform::ByteView frame = static_cast<rpc::Parcel*>(parcel.get())->Frame();
  return {frame.data, frame.data + frame.size};
}

// A frame whose length field announces `length` bytes, and `size` bytes after it.
std::vector<uint8_t> ForgedFrame(uint32_t length, size_t size) {
  std::vector<uint8_t> bytes(sizeof length + size, 0xA5);
  std::memcpy(bytes.data(), &length, sizeof length);
  return bytes;
}

// Malformed bytes by name; none for an unknown name.
std::vector<uint8_t> MalformedBytes(const std::string& name) {
  const std::vector<uint8_t> delivery = BytesOf(Delivery("uuid", "text.echo", "1"));
  if (name == "empty-frame") return ForgedFrame(0, 0);
  if (name == "oversized-frame") return ForgedFrame(0x7fffffff, 100);
  if (name == "endless-frame") return ForgedFrame(0xffffffff, 100'000);
  if (name == "no-parcel") return ForgedFrame(100, 100);
  if (name == "half-frame") return {delivery.begin(), delivery.begin() + 20};
  if (name == "truncated-parcel") {
    // A complete frame whose parcel ends within its texts.
    const uint32_t length = 40;
    std::vector<uint8_t> bytes(delivery.begin(), delivery.begin() + sizeof length + length);
    std::memcpy(bytes.data(), &length, sizeof length);
    return bytes;
  }
  if (name == "wrong-types") {
    wire::Parcel parcel = NewParcel(kCallback);
    for (int i = 0; i < 20; ++i) rpc_port_parcel_write_double(parcel.get(), -1e300);
    return BytesOf(parcel);
  }
  if (name == "negative-lengths") {
    wire::Parcel parcel = NewParcel(kCallback);
    rpc_port_parcel_write_int32(parcel.get(), kOnCommandReceived);
    for (int i = 0; i < 20; ++i) rpc_port_parcel_write_int32(parcel.get(), -1);
    return BytesOf(parcel);
  }
  if (name == "unknown-kind") return BytesOf(NewParcel(77));
  if (name == "unknown-method") {
    wire::Parcel parcel = NewParcel(kCallback);
    rpc_port_parcel_write_int32(parcel.get(), 99);
    return BytesOf(parcel);
  }
  if (name == "only-a-kind") return BytesOf(NewParcel(kCallback));
  if (name == "unknown-type") return BytesOf(Delivery("unknown-type", "no.such.type", "1"));
  if (name == "unrequested-replies") {
    std::vector<uint8_t> bytes;
    for (int i = 0; i < 1000; ++i) {
      const auto reply = BytesOf(Reply(i % 2 == 0));
      bytes.insert(bytes.end(), reply.begin(), reply.end());
    }
    return bytes;
  }
  return {};
}

class HostileAgent {
 public:
  std::string Execute(const std::string& verb, std::istringstream& arguments) {
    std::string first;
    std::string second;
    arguments >> first >> second;
    // Takes over the port where another process of the same name listens.
    if (verb == "listen") return Listen();
    // Asks a running application to connect.
    if (verb == "request") return Request(first);
    // Accepts the next connection: the whole handshake, without a reply to its hello, or the main
    // connection only.
    if (verb == "accept") return Accept();
    if (verb == "half-open") return HalfOpen();
    if (verb == "accept-main") return AcceptMainOnly();
    // Arguments: "main" or "callback", and the name of malformed bytes.
    if (verb == "send") return SendMalformed(first, second);
    // Arguments: a uuid and the size of the payload.
    if (verb == "deliver") return Deliver(first, std::stoul(second));
    if (verb == "result") return Result();
    if (verb == "begin-of-result") return BeginOfResult();
    // Arguments: the number of commands and the size of their payloads. Reads no results.
    if (verb == "flood") return Flood(std::stoul(first), std::stoul(second));
    // Reports whether a connection waits to be accepted.
    if (verb == "pending") return Pending();
    if (verb == "close") return Close();
    return "unknown verb";
  }

 private:
  static std::string Folder() {
    return platform::FolderBelowRoot(std::string(platform::kPortsFolder) + "/" +
                                     platform::IdentifyThisProcess().app_id);
  }

  std::string Listen() {
    const std::string folder = Folder();
    unlink((folder + "/" + wire::kPortName).c_str());
    port_ = platform::ListenAt(folder, wire::kPortName);
    if (port_) fcntl(port_.Get(), F_SETFL, 0);
    return port_ ? "listening" : "not listening";
  }

  static std::string Request(const std::string& app_id) {
    const std::unique_ptr<bundle, decltype(&bundle_free)> request(bundle_create(), bundle_free);
    bundle_add_str(request.get(), "Notify", "FetchCommand");
    bundle_raw* raw = nullptr;
    int length = 0;
    bundle_encode_raw(request.get(), &raw, &length);
    const std::unique_ptr<bundle_raw, decltype(&std::free)> bytes(raw, std::free);
    const UniqueFd fd = platform::ConnectTo(
        platform::RootPath() + "/" + platform::kApplicationSocketFolder, app_id);
    if (!fd) return "no connection";
    platform::SendMessage(fd.Get(), {raw, raw + length}, std::chrono::seconds(10));
    fcntl(fd.Get(), F_SETFL, 0);
    uint8_t byte;
    return recv(fd.Get(), &byte, 1, 0) == 1 ? "acknowledged" : "not acknowledged";
  }

  UniqueFd AcceptHello(rpc::Hello* hello) const {
    UniqueFd fd(accept4(port_.Get(), nullptr, nullptr, SOCK_CLOEXEC));
    const auto frame = ReceiveFrame(fd);
    const auto decoded = rpc::DecodeHello({frame.data(), frame.size()});
    if (!decoded) return {};
    *hello = *decoded;
    return fd;
  }

  // Skips callback connections, which the handler has abandoned.
  bool AcceptMain() {
    rpc::Hello hello;
    do {
      main_ = AcceptHello(&hello);
    } while (main_ && hello.is_callback);
    return static_cast<bool>(main_);
  }

  std::string Accept() {
    if (!AcceptMain()) return "disconnected";
    const rpc::Token token = rpc::NewToken();
    Send(main_, rpc::EncodeReply({true, token, ""}));
    rpc::Hello hello;
    callback_ = AcceptHello(&hello);
    if (!hello.is_callback || hello.token != token) return "wrong hello";
    Send(callback_, rpc::EncodeReply({true, {}, ""}));
    return "accepted";
  }

  std::string HalfOpen() {
    if (!AcceptMain()) return "disconnected";
    return "half-open";
  }

  // The main connection is accepted, the callback connection is never answered.
  std::string AcceptMainOnly() {
    if (!AcceptMain()) return "disconnected";
    Send(main_, rpc::EncodeReply({true, rpc::NewToken(), ""}));
    rpc::Hello hello;
    callback_ = AcceptHello(&hello);
    return hello.is_callback ? "half-open" : "wrong hello";
  }

  std::string SendMalformed(const std::string& connection, const std::string& name) {
    const auto bytes = MalformedBytes(name);
    if (bytes.empty()) return "unknown name";
    return Send(connection == "main" ? main_ : callback_, bytes) ? "sent" : "disconnected";
  }

  std::string Deliver(const std::string& uuid, size_t size) {
    const auto delivery = Delivery(uuid, "text.echo", "\"" + std::string(size, 'p') + "\"");
    return Send(callback_, delivery) ? "sent" : "disconnected";
  }

  // Replies to calls until one is a result; prints the uuid.
  std::string Result() {
    constexpr int kSendResult = 3;
    for (;;) {
      const auto frame = ReceiveFrame(main_);
      if (frame.empty()) return "disconnected";
      rpc_port_parcel_h created = nullptr;
      rpc_port_parcel_create_from_raw(&created, frame.data(), static_cast<unsigned>(frame.size()));
      const wire::Parcel parcel(created);
      int method = 0;
      rpc_port_parcel_read_int32(created, &method);
      if (method != kSendResult) continue;
      char* uuid = nullptr;
      rpc_port_parcel_read_string(created, &uuid);
      const std::unique_ptr<char, decltype(&std::free)> owned(uuid, std::free);
      Send(main_, Reply(true));
      return uuid != nullptr ? uuid : "no uuid";
    }
  }

  // Returns when the handler has sent the beginning of a long result.
  std::string BeginOfResult() {
    std::vector<uint8_t> bytes(1000);
    return security::ReceiveAll(main_, bytes.data(), bytes.size()) ? "begun" : "disconnected";
  }

  std::string Flood(size_t count, size_t size) {
    for (size_t i = 0; i < count; ++i) {
      const std::string sent = Deliver("flood-" + std::to_string(i), size);
      if (sent != "sent") return sent;
    }
    return "sent";
  }

  std::string Pending() const {
    pollfd listener = {port_.Get(), POLLIN, 0};
    return poll(&listener, 1, 0) == 0 ? "none" : "pending";
  }

  std::string Close() {
    main_.Reset();
    callback_.Reset();
    return "closed";
  }

  UniqueFd port_;
  UniqueFd main_;
  UniqueFd callback_;
};

}  // namespace

int main() {
  HostileAgent agent;
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream arguments(line);
    std::string verb;
    arguments >> verb;
    std::cout << agent.Execute(verb, arguments) << std::endl;
  }
  return 0;
}
