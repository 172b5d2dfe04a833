// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/rpc-port/stub.h"

#include <dlog.h>

#include <stdexcept>
#include <utility>

#include "platform/linux/common/process-identity.h"
#include "platform/linux/rpc-port/admission.h"
#include "platform/linux/rpc-port/boundary.h"
#include "platform/linux/rpc-port/names.h"

namespace platform::rpc {

void Stub::Listen() {
  const std::string owner = IdentifyThisProcess().app_id;
  if (!IsAppId(owner.c_str())) throw std::runtime_error("This process has no id to listen under");
  listener_ = std::make_unique<Listener>(owner, port_name_, this);
}

void Stub::Destroy() {
  listener_.reset();
  connected.Clear();
  disconnected.Clear();
  received.Clear();
  guests_.clear();
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

void Stub::MakeRoomForGuest() {
  if (guests_.empty()) is_crowd_told_ = false;
  if (guests_.size() < kMaxGuests) return;
  const std::shared_ptr<Guest> oldest = guests_.front();
  guests_.pop_front();
  const std::string cause =
      "more than " + std::to_string(kMaxGuests) + " connections have not said hello";
  if (!std::exchange(is_crowd_told_, true)) return Refuse(oldest, "", cause);
  oldest->Refuse(cause);
}

void Stub::OnAccepted(UniqueFd fd) {
  MakeRoomForGuest();
  const auto guest = std::make_shared<Guest>(std::move(fd), weak_from_this());
  guest->Start();
  guests_.push_back(guest);
}

void Stub::OnGuestGone(const std::shared_ptr<Guest>& guest) { guests_.remove(guest); }

void Stub::OnHello(const std::shared_ptr<Guest>& guest, const Hello& hello) {
  guests_.remove(guest);
  if (hello.is_callback) {
    Join(guest, hello.token);
  } else {
    Admit(guest);
  }
}

void Stub::Refuse(const std::shared_ptr<Guest>& guest, const std::string& who,
                  const std::string& cause) {
  dlog_print(DLOG_WARN, kLogTag, "Port \"%s\" refuses %s (process %d): %s", port_name_.c_str(),
             who.empty() ? "a stranger" : who.c_str(), guest->peer().pid, cause.c_str());
  guest->Refuse(cause);
}

void Stub::Admit(const std::shared_ptr<Guest>& guest) {
  ProcessHandle process(guest->peer().pid);
  const Admission admission = rpc::Admit(process, guest->peer().uid, privileges_);
  if (!admission.is_granted) return Refuse(guest, admission.app_id, admission.cause);
  const std::string too_many =
      "it has " + std::to_string(ConnectionLimit::kMost) + " connections already";
  switch (limit_.Ask(admission.app_id)) {
    case ConnectionLimit::Answer::kGranted:
      break;
    case ConnectionLimit::Answer::kRefused:
      return Refuse(guest, admission.app_id, too_many);
    case ConnectionLimit::Answer::kRefusedAgain:
      return guest->Refuse(too_many);
  }
  const auto client =
      std::make_shared<Client>(admission.app_id, std::move(process), admission.executable,
                               guest->TakePort(), weak_from_this());
  clients_.emplace(client->instance(), client);
  try {
    limit_.Add(client->sender());
    client->Start();
  } catch (...) {
    Forget(client);
    throw;
  }
}

// Whoever is not in yet: nobody was told of it.
void Stub::Forget(const std::shared_ptr<Client>& client) {
  clients_.erase(client->instance());
  limit_.Remove(client->sender());
  client->Drop();
}

void Stub::Join(const std::shared_ptr<Guest>& guest, const Token& token) {
  for (const auto& entry : clients_) {
    const std::shared_ptr<Client> client = entry.second;
    if (!client->Awaits(token, guest->peer().pid)) continue;
    try {
      client->Join(guest->TakePort());
    } catch (...) {
      Forget(client);
      throw;
    }
    connected.Call(client->sender().c_str(), client->instance().c_str());
    return;
  }
  Refuse(guest, "", "its main connection is unknown");
}

int Stub::OnFrame(const Client& client) {
  return received.CallUntilFailure(client.sender().c_str(), client.instance().c_str(),
                                   client.main().handle());
}

void Stub::OnClientEnded(const std::shared_ptr<Client>& client) {
  clients_.erase(client->instance());
  limit_.Remove(client->sender());
  if (!client->IsJoined()) return;
  disconnected.Call(client->sender().c_str(), client->instance().c_str());
}

}  // namespace platform::rpc
