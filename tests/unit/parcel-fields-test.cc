// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <functional>

#include "one-handler-test.h"

namespace {

using fake::ParcelWriter;
using support::HandlerPeer;

// Writes one value of a parcel.
using Field = std::function<void(ParcelWriter&)>;
using Fields = std::vector<Field>;

Field Int32(int value) {
  return [value](ParcelWriter& parcel) { parcel.Int32(value); };
}

Field String(const std::string& value) {
  return [value](ParcelWriter& parcel) { parcel.String(value); };
}

Field Double(double value) {
  return [value](ParcelWriter& parcel) { parcel.Double(value); };
}

Field Bool(bool value) {
  return [value](ParcelWriter& parcel) { parcel.Bool(value); };
}

Field Bundle() {
  return [](ParcelWriter& parcel) { parcel.Bundle({{"key", "value"}}); };
}

Field Int64(long long value) {
  return [value](ParcelWriter& parcel) { parcel.Int64(value); };
}

const std::vector<Fields> kParcels = {
    {Int32(support::kMethodSetCommandReceivedCb), Int32(1), Int32(7), Bool(false)},
    {Int32(support::kMethodSendResult), String("a"), String("{}"), Int32(5), String("none"),
     Bundle()},
    {Int32(support::kMethodNegotiateTimeout), String("a"), Double(2.0)},
};

// Values of each type, including the limits of their ranges.
const Fields kOthers = {Int32(0),          Int32(-1),
                        Int32(2147483647), Int32(-2147483647 - 1),
                        Int64(-1),         Bool(true),
                        Double(1e308),     Double(-1.0),
                        String(""),        String("another text, longer than the original one"),
                        Bundle(),          [](ParcelWriter&) {}};

ParcelWriter Write(const Fields& fields) {
  ParcelWriter parcel;
  for (const Field& field : fields) field(parcel);
  return parcel;
}

// Invalid parcels, sent to the stub with the router.
class ParcelFields : public support::OneHandlerTest {
 protected:
  // Receives a parcel while the command "a" is pending. Returns whether the connection is still
  // open.
  bool Deliver(const ParcelWriter& parcel) {
    const std::string instance = "instance " + std::to_string(++count_);
    HandlerPeer handler("h", instance);
    handler.Fetch();
    EXPECT_EQ(Send("a", "type"), 0);
    client_.responses.clear();
    EXPECT_NO_THROW(fake::Receive(instance, parcel));
    EXPECT_EQ(fake::OpenHandles("parcel"), 0);
    responses_ = std::exchange(client_.responses, {});
    const bool is_connected = fake::IsConnected(instance);
    if (is_connected) handler.Disconnect();
    ExpectWorking();
    return is_connected;
  }

  // Expects that the next handler can fetch and answer the pending commands.
  void ExpectWorking() {
    HandlerPeer handler("h", "next " + std::to_string(count_));
    EXPECT_EQ(handler.Fetch(), 0);
    for (const std::string& uuid : handler.DeliveredUuids()) EXPECT_EQ(handler.Answer(uuid), 0);
    EXPECT_EQ(Send("next", "type"), 0);
    EXPECT_EQ(handler.Answer("next"), 0);
    EXPECT_EQ(client_.AnsweredUuids().back(), "next");
    handler.Disconnect();
    EXPECT_TRUE(fake::Timers().empty());
  }

  std::vector<support::Response> responses_;

 private:
  int count_ = 0;
};

TEST_F(ParcelFields, CanBeTruncatedAtAnyByte) {
  for (const Fields& fields : kParcels) {
    const std::size_t size = Write(fields).Size();
    for (std::size_t end = 0; end <= size; ++end) {
      // A truncated method id is no method.
      EXPECT_EQ(Deliver(Write(fields).Truncate(end)), end >= sizeof(int)) << end;
    }
  }
}

TEST_F(ParcelFields, HaveDefaultsWhenMissing) {
  const Fields& result = kParcels[1];
  const Fields::const_iterator begin = result.begin();
  for (int count = 1; count <= 6; ++count) {
    Deliver(Write(Fields(begin, begin + count)));
    ASSERT_EQ(responses_.size(), 1u) << count;
    EXPECT_EQ(responses_[0].uuid, count > 1 ? "a" : "");
    EXPECT_EQ(responses_[0].result, count > 2 ? "{}" : "");
    EXPECT_EQ(responses_[0].status, count > 3 ? 5 : 0);
    EXPECT_EQ(responses_[0].error, count > 4 ? "none" : "");
  }
}

TEST_F(ParcelFields, CanHaveAnyOtherType) {
  for (const Fields& fields : kParcels) {
    for (std::size_t at = 1; at < fields.size(); ++at) {
      for (const Field& other : kOthers) {
        Fields changed = fields;
        changed[at] = other;
        EXPECT_TRUE(Deliver(Write(changed)));
      }
    }
  }
}

TEST_F(ParcelFields, CanContainAnyMethod) {
  for (const Fields& fields : kParcels) {
    for (const Field& other : kOthers) {
      Fields changed = fields;
      changed[0] = other;
      Deliver(Write(changed));
      EXPECT_LE(responses_.size(), 1u);
    }
  }
}

TEST_F(ParcelFields, CanBeMoreThanExpected) {
  for (const Fields& fields : kParcels) {
    Fields changed = fields;
    changed.insert(changed.end(), kOthers.begin(), kOthers.end());
    EXPECT_TRUE(Deliver(Write(changed)));
  }
}

TEST_F(ParcelFields, CanHaveLengthBeyondParcel) {
  for (const unsigned int length : {5u, 0x7fffffffu, 0xffffffffu}) {
    EXPECT_TRUE(Deliver(
        ParcelWriter().Int32(support::kMethodSendResult).Int32(static_cast<int>(length)).Int32(0)));
  }
}

}  // namespace
