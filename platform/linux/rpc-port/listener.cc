// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/listener.h"

#include <dlog.h>
#include <sys/socket.h>

#include <cerrno>
#include <cstring>
#include <utility>

#include "platform/linux/rpc-port/boundary.h"

namespace platform::rpc {
namespace {

// Whether the error concerns the one connection, not the listening socket or the process.
bool IsTransient(int error) { return error == EAGAIN || error == EINTR || error == ECONNABORTED; }

}  // namespace

Listener::Listener(const std::string& owner, const std::string& port_name, AcceptObserver* observer)
    : port_name_(port_name),
      observer_(observer),
      socket_(owner, port_name),
      watch_(socket_.fd(), this),
      backoff_(&watch_) {
  watch_.WatchReading(true);
}

void Listener::OnReady(bool, bool) {
  UniqueFd fd(accept4(socket_.fd(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
  if (fd) {
    is_logged_ = false;
    observer_->OnAccepted(std::move(fd));
  } else if (!IsTransient(errno)) {
    BackOff(errno);
  }
}

void Listener::BackOff(int error) {
  if (!is_logged_) {
    dlog_print(DLOG_ERROR, kLogTag,
               "port \"%s\" cannot accept connections, retrying every second: %s",
               port_name_.c_str(), strerrordesc_np(error));
  }
  is_logged_ = true;
  backoff_.Start();
}

}  // namespace platform::rpc
