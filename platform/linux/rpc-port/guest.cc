// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/guest.h"

#include <optional>
#include <utility>

namespace platform::rpc {

Guest::Guest(UniqueFd fd, const std::weak_ptr<GuestHost>& host)
    : peer_(PeerOf(fd.Get())),
      host_(host),
      port_(std::make_shared<Port>(std::move(fd), peer_.pid)) {
  port_->SetPeer("Process " + std::to_string(peer_.pid));
}

Guest::~Guest() {
  if (port_ != nullptr) port_->Close();
}

void Guest::Start() {
  port_->Watch(weak_from_this());
  limit_.Start(kGreetingLimit, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->Leave();
  });
}

std::shared_ptr<Port> Guest::TakePort() {
  port_->StopWatching();
  limit_.Stop();
  return std::move(port_);
}

void Guest::Refuse(const std::string& cause) {
  Answer answer;
  answer.cause = cause;
  const auto frame = EncodeAnswer(answer);
  port_->Send({frame.data(), frame.size()});
  port_->Close();
  limit_.Stop();
}

void Guest::Leave() {
  port_->Close();
  limit_.Stop();
  if (const auto host = host_.lock()) host->OnGuestGone(shared_from_this());
}

void Guest::OnReadable(Port* port) {
  const auto self = shared_from_this();
  try {
    Serve(port);
  } catch (...) {
    // What it said is gone, and it will not say it again.
    if (port_ != nullptr) Leave();
    throw;
  }
}

void Guest::Serve(Port* port) {
  if (port->Receive() == Port::Received::kEnd) return Leave();
  if (port->Front() == FrameReader::State::kIncomplete) return;
  std::optional<Hello> hello;
  if (port->Front() == FrameReader::State::kComplete) {
    hello = DecodeHello(port->Frame());
    port->PopFrame();
  }
  if (!hello || port->HasUnread()) {
    port->EndAsMalformed("no greeting");
    return Leave();
  }
  if (const auto host = host_.lock()) host->OnHello(shared_from_this(), *hello);
}

}  // namespace platform::rpc
