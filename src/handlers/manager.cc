// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/manager.h"

#include <utility>

#include "common/exceptions.h"
#include "common/logging.h"

namespace handlers {

Manager::Manager(std::shared_ptr<Repository> repository) : repository_(std::move(repository)) {}

void Manager::AddSource(std::shared_ptr<Source> source) {
  QOR_FRAME();
  sources_.insert(source);
  source->AttachToAll(shared_from_this());
}

void Manager::Initialize() {
  QOR_FRAME();
  try {
    repository_->Load();
  } catch (const NotInitialized&) {
    LoadHandlers();
    repository_->Sync();
  }
}

void Manager::Reload() {
  repository_->Clear();
  LoadHandlers();
  repository_->Sync();
}

void Manager::LoadHandlers() {
  for (const auto& source : sources_) {
    for (const auto& handler : source->Load()) Add(handler);
  }
}

void Manager::Update(const HandlerAdded& event) {
  QOR_FRAME();
  Add(event.handler);
  repository_->Sync();
}

void Manager::Update(const HandlerRemoved& event) {
  RemoveStored(event.handler->Id());
  repository_->Sync();
}

void Manager::Update(const HandlerUpdated& event) {
  RemoveStored(event.handler->Id());
  Add(event.handler);
  repository_->Sync();
}

std::shared_ptr<BaseHandler> Manager::GetHandler(const std::string& request_type) {
  return repository_->GetHandler(request_type);
}

std::shared_ptr<BaseHandler> Manager::GetHandlerById(const std::string& id) {
  return repository_->GetHandlerById(id);
}

std::vector<std::shared_ptr<BaseHandler>> Manager::GetHandlers() {
  std::vector<std::shared_ptr<BaseHandler>> handlers;
  for (const auto& [handler, request_types] : repository_->GetAllRev()) handlers.push_back(handler);
  return handlers;
}

void Manager::Add(const std::shared_ptr<BaseHandler>& handler) {
  for (const auto& request_type : handler->RequestTypes()) repository_->Add(request_type, handler);
}

void Manager::RemoveStored(const HandlerId& id) {
  repository_->RemoveAll(repository_->GetHandlerById(id));
}

}  // namespace handlers
