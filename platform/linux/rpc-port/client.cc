// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/client.h"

#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/linux/rpc-port/parcel.h"

namespace platform::rpc {
namespace {

// How often the executed file is checked. A check with every command would cost a system call each.
constexpr std::chrono::seconds kCheckInterval(1);

std::string NewInstance(const std::string& sender) {
  static uint64_t count = 0;
  return sender + "#" + std::to_string(++count);
}

}  // namespace

Client::Client(const std::string& sender, ProcessHandle process, const FileId& executable,
               std::shared_ptr<Port> main, const std::weak_ptr<ClientHost>& host)
    : sender_(sender),
      instance_(NewInstance(sender)),
      process_(std::move(process)),
      executable_(executable),
      executable_link_("/proc/" + std::to_string(process_->pid()) + "/exe"),
      token_(NewToken()),
      host_(host),
      main_(std::move(main)) {
  main_->SetPeer(sender_);
}

void Client::Start() {
  SendAccept(main_.get());
  main_->Watch(weak_from_this());
  timeout_.Start(kHandshakeTimeout, [weak = weak_from_this()] {
    if (const auto self = weak.lock()) self->Disconnect();
  });
}

void Client::SendAccept(Port* port) {
  const auto frame = EncodeReply({true, token_, ""});
  port->Send({frame.data(), frame.size()});
}

bool Client::ExpectsCallback(const Token& token, pid_t pid) const {
  return !IsJoined() && token == token_ && pid == process_->pid() &&
         process_->ExecutableFile() == executable_;
}

bool Client::HasSameExecutable() {
  const auto now = std::chrono::steady_clock::now();
  if (now < next_check_) return true;
  next_check_ = now + kCheckInterval;
  const auto file = FileAt(executable_link_);
  return file ? *file == executable_ : errno == ENOENT;
}

void Client::Join(std::shared_ptr<Port> callback) {
  timeout_.Stop();
  process_.reset();
  next_check_ = std::chrono::steady_clock::now() + kCheckInterval;
  callback_ = std::move(callback);
  callback_->SetPeer(sender_);
  main_->Open(callback_);
  callback_->Open(main_);
  // Before the connected event, whose callback may send on the port: the proxy expects this frame
  // first.
  SendAccept(callback_.get());
}

void Client::OnReadable(Port* port) {
  const auto self = shared_from_this();
  try {
    Serve(port);
  } catch (...) {
    // The connection is in an unknown state.
    Disconnect();
    throw;
  }
}

void Client::Serve(Port* port) {
  const auto host = host_.lock();
  if (host == nullptr) return Drop();
  if (!HasSameExecutable()) {
    port->AbortConnection("data after executing another file");
    return Disconnect();
  }
  const auto serve = [&] { return HandleFrame(host.get()); };
  if (port->HandleFrames(serve) != Port::HandleResult::kContinue) Disconnect();
}

bool Client::HandleFrame(ClientHost* host) {
  if (!IsJoined()) {
    main_->AbortConnection("a parcel before the handshake");
    return false;
  }
  if (!Parcel::IsWellFormed(main_->Frame())) {
    main_->AbortConnection("a parcel with an invalid header");
    return false;
  }
  const uint64_t popped = main_->popped();
  if (host->OnFrame(*this) != 0 || is_closed_ || main_->IsShutDown()) return false;
  // Drop a frame that the callback did not read.
  if (main_->popped() == popped) main_->PopFrame();
  return true;
}

void Client::Drop() {
  is_closed_ = true;
  timeout_.Stop();
  main_->Close();
  if (callback_ != nullptr) callback_->Close();
}

void Client::Disconnect() {
  if (is_closed_) return;
  Drop();
  if (const auto host = host_.lock()) host->OnClientDisconnected(shared_from_this());
}

}  // namespace platform::rpc
