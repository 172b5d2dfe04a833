// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_RPC_PORT_GUEST_H_
#define PLATFORM_LINUX_RPC_PORT_GUEST_H_

#include <memory>
#include <string>

#include "platform/linux/common/loop-timer.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/greeting.h"
#include "platform/linux/rpc-port/port.h"

namespace platform::rpc {

class Guest;

class GuestHost {
 public:
  // The guest said hello: it is to be taken in or refused.
  virtual void OnHello(const std::shared_ptr<Guest>& guest, const Hello& hello) = 0;
  // It went, or was sent away, without one.
  virtual void OnGuestGone(const std::shared_ptr<Guest>& guest) = 0;

 protected:
  ~GuestHost() = default;
};

// An accepted connection of which nothing is known yet but the process behind it.
class Guest final : public PortObserver, public std::enable_shared_from_this<Guest> {
 public:
  Guest(UniqueFd fd, const std::weak_ptr<GuestHost>& host);
  ~Guest();

  // Waits for its hello, for a limited time.
  void Start();

  const PeerCredentials& peer() const { return peer_; }
  // Hands its port over, unwatched: the guest is none any more.
  std::shared_ptr<Port> TakePort();
  // Tells it why it is not wanted and closes its port.
  void Refuse(const std::string& cause);

 private:
  void OnReadable(Port* port) override;
  void Serve(Port* port);
  void Leave();

  const PeerCredentials peer_;
  const std::weak_ptr<GuestHost> host_;
  std::shared_ptr<Port> port_;
  LoopTimer limit_;
};

}  // namespace platform::rpc

#endif
