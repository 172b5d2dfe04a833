// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "model.h"

#include <algorithm>
#include <cstring>

#include "qor_handler_manager.h"

namespace model {

bool Model::Allows(const Operation& operation) const {
  switch (operation.kind) {
    case Kind::kConnect:
      return IsStarted() && !IsConnected(operation.app, operation.slot);
    case Kind::kDisconnect:
    case Kind::kFetch:
    case Kind::kAnswer:
    case Kind::kNegotiate:
    case Kind::kCallUnknown:
      return IsConnected(operation.app, operation.slot);
    default:
      return true;
  }
}

Observation Model::Apply(const Operation& operation) {
  observation_ = Observation();
  deliveries_.clear();
  failure_ = operation.failure;
  clock_.timers_fail = failure_ == Failure::kTimer;
  Execute(operation);
  return Finish();
}

std::vector<std::string> Model::PendingUuids(const std::string& app) const {
  std::vector<std::string> uuids;
  if (!router_) return uuids;
  const auto found = router_->AllPending().find(app);
  if (found == router_->AllPending().end()) return uuids;
  for (const Command& command : found->second.Commands()) uuids.push_back(command.uuid);
  return uuids;
}

void Model::Execute(const Operation& operation) {
  switch (operation.kind) {
    case Kind::kPutPackage:
      packages_[operation.package.id] = operation.package;
      break;
    case Kind::kDropPackage:
      packages_.erase(operation.package.id);
      break;
    case Kind::kRaiseEvent:
      RaiseEvent(operation);
      break;
    case Kind::kConfigure:
      Configure(operation);
      break;
    case Kind::kInitialize:
      Return(QOR_HANDLER_MANAGER_ERROR_NONE);
      break;
    case Kind::kListen:
      Listen(operation.listen);
      break;
    case Kind::kReact:
      reaction_ = operation;
      break;
    case Kind::kSend:
      Send(operation);
      break;
    case Kind::kConnect:
      Connect(operation);
      break;
    case Kind::kDisconnect:
      Disconnect({operation.app, operation.slot});
      break;
    case Kind::kAdvance:
      clock_.Advance(operation.seconds, [this](Position position) {
        if (const auto router = router_) router->Fire(position);
      });
      break;
    case Kind::kShutDown:
      ShutDown();
      break;
    default:
      Call(operation);
  }
}

void Model::Start() {
  if (router_) return;
  registry_ = std::make_shared<Registry>();
  for (const auto& [id, package] : packages_) {
    for (const support::HandlerApp& app : package.apps) {
      const HandlerPointer handler = MakeHandler(app, package.preloaded);
      if (handler->IsValid()) registry_->Add(handler);
    }
  }
  WriteDatabase();
  router_ = std::make_shared<Router>(static_cast<Environment*>(this), &clock_, &last_block_,
                                     registry_.get());
}

void Model::Configure(const Operation& operation) {
  Start();
  router_->Configure(operation.execution_timeout, operation.connection_timeout);
  Return(QOR_HANDLER_MANAGER_ERROR_NONE);
}

void Model::Listen(model::Listen listen) {
  Start();
  router_->Listen(listen);
  Return(QOR_HANDLER_MANAGER_ERROR_NONE);
}

void Model::ShutDown() {
  Return(QOR_HANDLER_MANAGER_ERROR_NONE);
  if (!router_) return;
  router_->ShutDown();
  router_.reset();
  connections_.clear();
}

void Model::Send(const Operation& operation) {
  const auto length = static_cast<std::size_t>(operation.length);
  const bool invalid = operation.uuid.empty() || operation.type.empty() ||
                       (operation.has_text && operation.text.size() < length) ||
                       (!operation.has_text && operation.length > 0) || operation.timestamp < 0;
  if (invalid) return Return(QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER);
  Start();
  try {
    router_->Send(operation);
    Return(QOR_HANDLER_MANAGER_ERROR_NONE);
  } catch (const Error& error) {
    Return(error.code);
  }
}

void Model::RaiseEvent(const Operation& operation) {
  if (!registry_ || operation.event == Event::kForeignType ||
      operation.event == Event::kUninstalled) {
    return;
  }
  const auto found = packages_.find(operation.package.id);
  if (found == packages_.end()) return;
  const Package package = found->second;
  const auto registry = registry_;
  for (const support::HandlerApp& app : package.apps) {
    // A restart inside a callback replaces the registry and with it the rest of this event.
    if (registry_ != registry) return;
    const HandlerPointer handler = MakeHandler(app, package.preloaded);
    if (handler->IsValid()) Apply(operation, handler);
  }
}

void Model::Apply(const Operation& operation, const HandlerPointer& handler) {
  int update = QOR_HANDLER_UPDATE_ADDED;
  if (operation.event == Event::kInstalled) {
    registry_->Add(handler);
  } else if (operation.event == Event::kUpdated) {
    registry_->Update(handler);
    update = QOR_HANDLER_UPDATE_UPDATED;
  } else {
    registry_->Remove(handler->id);
    update = QOR_HANDLER_UPDATE_REMOVED;
  }
  WriteDatabase();
  if (const auto router = router_) router->OnRegistryChanged(update, *handler);
}

void Model::Connect(const Operation& operation) {
  connections_[{operation.app, operation.slot}] = "c" + std::to_string(++connects_);
  router_->OnConnected(operation.app);
}

void Model::Disconnect(const Connection& connection) {
  connections_.erase(connection);
  if (router_) router_->OnDisconnected(connection.first);
}

void Model::Call(const Operation& operation) {
  const Connection connection{operation.app, operation.slot};
  const auto router = router_;
  bool ends = false;
  try {
    switch (operation.kind) {
      case Kind::kFetch:
        router->OnFetch(operation.app,
                        {connections_.at(connection), operation.callback, operation.once, false});
        break;
      case Kind::kAnswer:
        router->OnAnswer(operation.app, operation);
        observation_.reply = "true";
        break;
      case Kind::kNegotiate:
        negotiation_answer_ = operation.status;
        observation_.reply =
            router->Negotiate(operation.app, operation.uuid, operation.seconds) ? "true" : "false";
        break;
      default:
        ends = true;
    }
  } catch (const Error&) {
    ends = true;
  }
  if (router != router_) {
    // The client shut the library down inside a callback, so there is no reply.
    observation_.reply.clear();
    return Return(-1);
  }
  if (ends) Disconnect(connection);
  Return(ends ? -1 : 0);
}

void Model::WriteDatabase() {
  database_.clear();
  for (const HandlerPointer& handler : registry_->All()) {
    database_.insert(handler->DatabaseEntry());
  }
}

void Model::React() {
  const Operation reaction = std::exchange(reaction_, Operation());
  switch (reaction.reaction) {
    case Reaction::kNone:
      break;
    case Reaction::kSend:
      Send(reaction);
      break;
    case Reaction::kConfigure:
      Configure(reaction);
      break;
    case Reaction::kShutDown:
      ShutDown();
      break;
    case Reaction::kRestart:
      ShutDown();
      Listen(Listen::kResponses);
  }
}

Observation Model::Finish() {
  std::vector<std::pair<int, std::string>> instances;
  for (const auto& [connection, instance] : connections_) {
    instances.emplace_back(std::stoi(instance.substr(1)), instance);
  }
  std::sort(instances.begin(), instances.end());
  for (const auto& [age, instance] : instances) observation_.connections.push_back(instance);
  std::stable_sort(deliveries_.begin(), deliveries_.end(), [](const auto& a, const auto& b) {
    return std::stoi(a.first.substr(1)) < std::stoi(b.first.substr(1));
  });
  for (const auto& [instance, text] : deliveries_) observation_.deliveries.push_back(text);
  if (router_) {
    for (const auto& handler : registry_->All()) observation_.handlers.insert(handler->Format());
  }
  observation_.due_times = clock_.DueTimes();
  observation_.database = database_;
  return observation_;
}

void Model::Respond(const std::string& text) {
  observation_.callbacks.push_back(text);
  React();
}

int Model::Negotiate(const std::string& text) {
  observation_.callbacks.push_back(text);
  React();
  return negotiation_answer_;
}

void Model::NotifyUpdate(const std::string& text) {
  observation_.callbacks.push_back(text);
  React();
}

void Model::Launch(const std::string& app) {
  const bool installed =
      std::any_of(packages_.begin(), packages_.end(), [&app](const auto& package) {
        const auto& apps = package.second.apps;
        return std::any_of(apps.begin(), apps.end(),
                           [&app](const auto& candidate) { return candidate.id == app; });
      });
  if (!installed || failure_ == Failure::kExtraData || failure_ == Failure::kLaunch) {
    throw Error{QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL};
  }
  observation_.launches.push_back(FormatLaunch(app, {{"Notify", "FetchCommand"}}));
}

void Model::Deliver(const std::string& instance, const std::string& text) {
  deliveries_.emplace_back(instance, text);
}

}  // namespace model
