// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Single messages between processes: launch requests and package events.

#include <app_control.h>
#include <unistd.h>

#include <cstdlib>
#include <utility>
#include <vector>

#include "input.h"
#include "platform/linux/app-control/received-request.h"
#include "platform/linux/common/message.h"
#include "platform/linux/package-manager/package-event.h"
#include "platform/linux/tests/support/sockets.h"
#include "target.h"

namespace {

using State = platform::MessageReader::State;

bool VisitExtraData(app_control_h request, const char* key, void*) {
  char* value = nullptr;
  if (app_control_get_extra_data(request, key, &value) == APP_CONTROL_ERROR_NONE) std::free(value);
  return true;
}

void ReadRequest(const std::vector<uint8_t>& bytes) {
  app_control_h request = nullptr;
  if (platform_app_control_receive(bytes.data(), bytes.size(), "org.example.sender", &request) !=
      APP_CONTROL_ERROR_NONE) {
    return;
  }
  char* text = nullptr;
  if (app_control_get_app_id(request, &text) == APP_CONTROL_ERROR_NONE) std::free(text);
  if (app_control_get_caller(request, &text) == APP_CONTROL_ERROR_NONE) std::free(text);
  app_control_foreach_extra_data(request, VisitExtraData, nullptr);
  app_control_destroy(request);
}

void ReadEvent(const std::vector<uint8_t>& bytes) {
  if (const auto event = platform::DecodeEvent(bytes)) {
    fuzz::Require(platform::EncodeEvent(*event) == bytes, "an event is written as it was read");
  }
}

// The input decides how the bytes are fragmented.
void Receive(fuzz::Input input) {
  auto [sender, receiver] = platform::test::SocketPair();
  platform::MessageReader reader;
  State state = State::kPartial;
  while (!input.IsOver() && state == State::kPartial) {
    const std::string piece = input.Text();
    if (!piece.empty() && write(sender.Get(), piece.data(), piece.size()) < 0) return;
    state = reader.ReadFrom(receiver.Get());
  }
  sender.Reset();
  if (state == State::kPartial) state = reader.ReadFrom(receiver.Get());
  fuzz::Require(state != State::kPartial,
                "a message is complete or broken when its sender disconnects");
  if (state == State::kComplete) ReadRequest(reader.Bytes());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::vector<uint8_t> bytes(data, data + size);
  ReadRequest(bytes);
  ReadEvent(bytes);
  Receive({data, size});
  return 0;
}
