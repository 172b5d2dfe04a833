// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/stub.h"

#include <dlog.h>

#include <stdexcept>
#include <utility>

#include "platform/linux/common/connected-processes.h"
#include "platform/linux/common/process-identity.h"
#include "platform/linux/rpc-port/admission.h"
#include "platform/linux/rpc-port/boundary.h"
#include "platform/linux/rpc-port/owned-socket.h"

namespace platform::rpc {

void Stub::Listen() {
  const std::string owner = IdentifyThisProcess().app_id;
  if (!IsAppId(owner.c_str()))
    throw std::runtime_error("cannot listen: this process cannot be identified");
  listener_ = std::make_unique<Listener>(owner, port_name_, this);
}

void Stub::Destroy() {
  listener_.reset();
  connected.Clear();
  disconnected.Clear();
  received.Clear();
  pending_.clear();
  const auto clients = std::exchange(clients_, {});
  for (const auto& entry : clients) entry.second->Drop();
  limit_ = {};
}

const Client* Stub::FindClient(const std::string& instance) const {
  const auto found = clients_.find(instance);
  if (found == clients_.end()) return nullptr;
  const Client& client = *found->second;
  return client.IsJoined() && !client.main().IsShutDown() ? &client : nullptr;
}

void Stub::EvictOldestPending() {
  if (pending_.empty()) is_eviction_logged_ = false;
  if (pending_.size() < kMaxPendingConnections) return;
  const std::shared_ptr<PendingConnection> oldest = pending_.front();
  pending_.pop_front();
  const std::string cause =
      "more than " + std::to_string(kMaxPendingConnections) + " pending connections";
  if (!std::exchange(is_eviction_logged_, true)) return Reject(oldest, "", cause);
  oldest->Reject(cause);
}

void Stub::OnAccepted(UniqueFd fd) {
  EvictOldestPending();
  const auto pending = std::make_shared<PendingConnection>(std::move(fd), weak_from_this());
  pending->Start();
  pending_.push_back(pending);
}

void Stub::OnPendingClosed(const std::shared_ptr<PendingConnection>& pending) {
  pending_.remove(pending);
}

void Stub::OnHello(const std::shared_ptr<PendingConnection>& pending, const Hello& hello) {
  pending_.remove(pending);
  if (hello.is_callback) {
    Join(pending, hello.token);
  } else {
    Admit(pending);
  }
}

void Stub::Reject(const std::shared_ptr<PendingConnection>& pending, const std::string& app_id,
                  const std::string& cause) {
  dlog_print(DLOG_WARN, kLogTag, "port \"%s\": rejected %s (process %d): %s", port_name_.c_str(),
             app_id.empty() ? "an unidentified peer" : app_id.c_str(), pending->peer().pid,
             cause.c_str());
  pending->Reject(cause);
}

void Stub::Admit(const std::shared_ptr<PendingConnection>& pending) {
  ProcessHandle process(pending->peer().pid);
  const Admission admission = rpc::Admit(process, pending->peer().uid, privileges_);
  if (!admission.is_granted) return Reject(pending, admission.app_id, admission.cause);
  const std::string too_many =
      "too many connections (limit " + std::to_string(ConnectionLimit::kMaxConnections) + ")";
  switch (limit_.Check(admission.app_id)) {
    case ConnectionLimit::Decision::kGranted:
      break;
    case ConnectionLimit::Decision::kRejected:
      return Reject(pending, admission.app_id, too_many);
    case ConnectionLimit::Decision::kRejectedAgain:
      return pending->Reject(too_many);
  }
  const auto client =
      std::make_shared<Client>(admission.app_id, std::move(process), admission.executable,
                               pending->TakePort(), weak_from_this());
  clients_.emplace(client->instance(), client);
  try {
    limit_.Add(client->sender());
    client->Start();
  } catch (...) {
    Forget(client);
    throw;
  }
}

// For clients whose handshake failed: the connected event was not raised.
void Stub::Forget(const std::shared_ptr<Client>& client) {
  clients_.erase(client->instance());
  limit_.Remove(client->sender());
  client->Drop();
}

void Stub::Join(const std::shared_ptr<PendingConnection>& pending, const Token& token) {
  for (const auto& entry : clients_) {
    const std::shared_ptr<Client> client = entry.second;
    if (!client->ExpectsCallback(token, pending->peer().pid)) continue;
    try {
      client->Join(pending->TakePort());
    } catch (...) {
      Forget(client);
      throw;
    }
    SetConnected(pending->peer().pid);
    connected.Call(client->sender().c_str(), client->instance().c_str());
    return;
  }
  Reject(pending, "", "unknown main connection");
}

int Stub::OnFrame(const Client& client) {
  return received.CallUntilFailure(client.sender().c_str(), client.instance().c_str(),
                                   client.main().handle());
}

void Stub::OnClientDisconnected(const std::shared_ptr<Client>& client) {
  clients_.erase(client->instance());
  limit_.Remove(client->sender());
  if (!client->IsJoined()) return;
  disconnected.Call(client->sender().c_str(), client->instance().c_str());
}

}  // namespace platform::rpc
