// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORDER_CONNECTIONS_H_
#define QOR_TOOLS_RECORDER_CONNECTIONS_H_

#include <rpc-port.h>

#include <map>
#include <mutex>
#include <optional>
#include <set>
#include <string>

namespace tools::recorder {

// One connection of a handler application.
struct Peer {
  std::string handler;
  std::string instance;
};

// The connections to the library's port, and the handler of each callback port. Thread-safe.
class Connections {
 public:
  // Never destroyed, because destructors of static objects may call the library.
  static Connections& Get();

  // Registers a new stub; handles are reused by the platform.
  void SetStub(rpc_port_stub_h stub, const std::string& port_name);
  bool IsLibraryStub(rpc_port_stub_h stub);

  void Add(const Peer& peer);
  void Remove(const std::string& instance);
  void SetCallbackPort(rpc_port_h port, const std::string& instance);
  // Returns nothing for other ports.
  std::optional<Peer> OfCallbackPort(rpc_port_h port);

 private:
  Connections() = default;

  std::mutex mutex_;
  std::set<rpc_port_stub_h> stubs_;
  std::map<std::string, std::string> handlers_by_instance_;
  std::map<rpc_port_h, Peer> peers_by_port_;
};

}  // namespace tools::recorder

#endif
