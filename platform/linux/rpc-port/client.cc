// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/client.h"

#include <cerrno>
#include <cstdint>
#include <utility>

#include "platform/linux/rpc-port/parcel.h"

namespace platform::rpc {
namespace {

// The executed file is looked at this often, so that commands cost no system call more.
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
    if (const auto self = weak.lock()) self->End();
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
  // Before anyone can send on the port: the proxy expects it first.
  SendAccept(callback_.get());
}

void Client::OnReadable(Port* port) {
  const auto self = shared_from_this();
  try {
    Serve(port);
  } catch (...) {
    // Half of something is done that nobody will go on with.
    End();
    throw;
  }
}

void Client::Serve(Port* port) {
  const auto host = host_.lock();
  if (host == nullptr) return Drop();
  if (!HasSameExecutable()) {
    port->AbortConnection("something after it has executed another file");
    return End();
  }
  const auto serve = [&] { return HandleFrame(host.get()); };
  if (port->HandleFrames(serve) != Port::HandleResult::kContinue) End();
}

bool Client::HandleFrame(ClientHost* host) {
  if (!IsJoined()) {
    main_->AbortConnection("a parcel before it was connected");
    return false;
  }
  if (!Parcel::IsWellFormed(main_->Frame())) {
    main_->AbortConnection("a parcel with a broken header");
    return false;
  }
  const uint64_t popped = main_->popped();
  if (host->OnFrame(*this) != 0 || is_ended_ || main_->IsShutDown()) return false;
  // A frame that the callback left alone is not offered again.
  if (main_->popped() == popped) main_->PopFrame();
  return true;
}

void Client::Drop() {
  is_ended_ = true;
  timeout_.Stop();
  main_->Close();
  if (callback_ != nullptr) callback_->Close();
}

void Client::End() {
  if (is_ended_) return;
  Drop();
  if (const auto host = host_.lock()) host->OnClientDisconnected(shared_from_this());
}

}  // namespace platform::rpc
