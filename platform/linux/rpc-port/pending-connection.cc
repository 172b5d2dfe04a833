// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/pending-connection.h"

#include <optional>
#include <utility>

namespace platform::rpc {

PendingConnection::PendingConnection(UniqueFd fd, const std::weak_ptr<PendingConnectionHost>& host)
    : peer_(PeerOf(fd.Get())),
      host_(host),
      port_(std::make_shared<Port>(std::move(fd), peer_.pid)) {
  port_->SetPeer("process " + std::to_string(peer_.pid));
}

PendingConnection::~PendingConnection() {
  if (port_ != nullptr) port_->Close();
}

void PendingConnection::Start() {
  port_->Watch(weak_from_this());
  timeout_.Start(kHandshakeTimeout, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->Close();
  });
}

std::shared_ptr<Port> PendingConnection::TakePort() {
  port_->StopWatching();
  timeout_.Stop();
  return std::move(port_);
}

void PendingConnection::Reject(const std::string& cause) {
  HandshakeReply reply;
  reply.cause = cause;
  const auto frame = EncodeReply(reply);
  port_->Send({frame.data(), frame.size()});
  port_->Close();
  timeout_.Stop();
}

void PendingConnection::Close() {
  port_->Close();
  timeout_.Stop();
  if (const auto host = host_.lock()) host->OnPendingClosed(shared_from_this());
}

void PendingConnection::OnReadable(Port* port) {
  const auto self = shared_from_this();
  try {
    Serve(port);
  } catch (...) {
    // The hello is lost, and the proxy will not repeat it.
    if (port_ != nullptr) Close();
    throw;
  }
}

void PendingConnection::Serve(Port* port) {
  if (port->Receive() == Port::ReceiveResult::kClosed) return Close();
  if (port->Front() == FrameReader::State::kIncomplete) return;
  std::optional<Hello> hello;
  if (port->Front() == FrameReader::State::kComplete) {
    hello = DecodeHello(port->Frame());
    port->PopFrame();
  }
  if (!hello || port->HasUnread()) {
    port->AbortConnection("an invalid handshake");
    return Close();
  }
  if (const auto host = host_.lock()) host->OnHello(shared_from_this(), *hello);
}

}  // namespace platform::rpc
