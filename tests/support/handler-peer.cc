// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handler-peer.h"

#include <gtest/gtest.h>

namespace support {
namespace {

Delivery ReadDelivery(fake::ParcelReader parcel) {
  EXPECT_EQ(parcel.Int32(), kMethodCallback);
  Delivery delivery;
  delivery.callback_id = parcel.Int32();
  delivery.callback_sequence = parcel.Int32();
  delivery.once = parcel.Bool();
  delivery.argument = parcel.String();
  delivery.uuid = parcel.String();
  delivery.request_type = parcel.String();
  delivery.payload = parcel.String();
  delivery.timestamp = parcel.Int64();
  delivery.extra = parcel.Bundle();
  EXPECT_TRUE(parcel.AtEnd());
  return delivery;
}

}  // namespace

HandlerPeer::HandlerPeer(const std::string& app_id, const std::string& instance)
    : instance_(instance) {
  fake::Connect(app_id, instance);
}

int HandlerPeer::Fetch(int callback_sequence, bool once) {
  return Call(fake::ParcelWriter()
                  .Int32(kMethodSetCommandReceivedCb)
                  .Int32(1)
                  .Int32(callback_sequence)
                  .Bool(once));
}

int HandlerPeer::Answer(const std::string& uuid, const std::string& result, int status,
                        const std::string& error) {
  return Call(fake::ParcelWriter()
                  .Int32(kMethodSendResult)
                  .String(uuid)
                  .String(result)
                  .Int32(status)
                  .String(error)
                  .Bundle({{"extra", "of the handler"}}));
}

int HandlerPeer::Negotiate(const std::string& uuid, double seconds) {
  return Call(fake::ParcelWriter().Int32(kMethodNegotiateTimeout).String(uuid).Double(seconds));
}

std::vector<Delivery> HandlerPeer::Deliveries() const {
  std::vector<Delivery> deliveries;
  for (const auto& parcel : fake::Sent(instance_, RPC_PORT_PORT_CALLBACK)) {
    deliveries.push_back(ReadDelivery(parcel));
  }
  return deliveries;
}

std::vector<std::string> HandlerPeer::DeliveredUuids() const {
  std::vector<std::string> uuids;
  for (const Delivery& delivery : Deliveries()) uuids.push_back(delivery.uuid);
  return uuids;
}

int HandlerPeer::Call(fake::ParcelWriter parcel) {
  const int number = next_sequence_number_++;
  const std::size_t replies_before = fake::Sent(instance_, RPC_PORT_PORT_MAIN).size();
  const int result = fake::Receive(instance_, parcel.SequenceNumber(number));
  last_reply_.reset();
  const auto replies = fake::Sent(instance_, RPC_PORT_PORT_MAIN);
  if (replies.size() == replies_before) return result;
  fake::ParcelReader reply = replies.back();
  EXPECT_EQ(reply.Tag(), "1.10.4");
  EXPECT_EQ(reply.SequenceNumber(), number);
  EXPECT_EQ(reply.Int32(), kMethodResult);
  last_reply_ = reply.Bool();
  EXPECT_TRUE(reply.AtEnd());
  return result;
}

}  // namespace support
