// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_HANDLER_PEER_H_
#define TESTS_SUPPORT_HANDLER_PEER_H_

// A handler application at the other end of a connection. Sends and receives parcels.

#include <map>
#include <optional>
#include <string>
#include <vector>

#include "fake-platform.h"

namespace support {

// Identifiers of the protocol.
inline constexpr int kMethodResult = 0;
inline constexpr int kMethodCallback = 1;
inline constexpr int kMethodSetCommandReceivedCb = 2;
inline constexpr int kMethodSendResult = 3;
inline constexpr int kMethodNegotiateTimeout = 4;

// A command received on the callback port.
struct Delivery {
  int callback_id;
  int callback_sequence;
  bool once;
  std::string argument;
  std::string uuid;
  std::string request_type;
  std::string payload;
  long long timestamp;
  std::map<std::string, std::string> extra;
};

class HandlerPeer {
 public:
  // Connects to the stub.
  explicit HandlerPeer(const std::string& app_id, const std::string& instance = "instance");

  void Disconnect() { fake::Disconnect(instance_); }

  // The methods of the stub. Return the result of the stub's received callback.
  int Fetch(int callback_sequence = 7, bool once = false);
  int Answer(const std::string& uuid, const std::string& result = "{}", int status = 0,
             const std::string& error = "");
  int Negotiate(const std::string& uuid, double seconds);

  // Returns the value in the reply to the last call, if there was one.
  std::optional<bool> LastReply() const { return last_reply_; }

  std::vector<Delivery> Deliveries() const;
  std::vector<std::string> DeliveredUuids() const;

  const std::string& Instance() const { return instance_; }

 private:
  int Call(fake::ParcelWriter parcel);

  std::string instance_;
  int next_sequence_number_ = 1000;
  std::optional<bool> last_reply_;
};

}  // namespace support

#endif
