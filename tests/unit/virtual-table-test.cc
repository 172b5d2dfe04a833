// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The order of virtual functions is part of the binary interface between the library's parts.

#include <gtest/gtest.h>

#include <cstring>

#include "api/logic.h"
#include "common/exceptions.h"
#include "handlers/app-handler.h"
#include "handlers/repository-backend-file.h"
#include "handlers/source.h"
#include "ipc/service-manager.h"

namespace {

// Returns the slot of a virtual function in its class's table. The destructor has the first two.
template <typename Member>
long Slot(Member member) {
  // In the common C++ ABI, a member pointer begins with the offset in the table, plus one on most
  // architectures.
  long offset = 0;
  std::memcpy(&offset, &member, sizeof(offset));
  return offset / static_cast<long>(sizeof(void*));
}

TEST(VirtualTable, ApiInterfaceOrder) {
  using api::ApiInterface;
  EXPECT_EQ(Slot(&ApiInterface::SendCommand), 2);
  EXPECT_EQ(Slot(&ApiInterface::SetResponseCallback), 3);
  EXPECT_EQ(Slot(&ApiInterface::SetNegotiationCallback), 4);
  EXPECT_EQ(Slot(&ApiInterface::SetConfiguration), 5);
  EXPECT_EQ(Slot(&ApiInterface::ForeachHandler), 6);
  EXPECT_EQ(Slot(&ApiInterface::SetHandlerUpdateCallback), 7);
}

TEST(VirtualTable, RequestTakerOrder) {
  using ipc::RequestTaker;
  EXPECT_EQ(Slot(&RequestTaker::SetCommandReceivedCb), 2);
  EXPECT_EQ(Slot(&RequestTaker::SendResult), 3);
  EXPECT_EQ(Slot(&RequestTaker::OnConnected), 4);
  EXPECT_EQ(Slot(&RequestTaker::OnDisconnected), 5);
  EXPECT_EQ(Slot(&RequestTaker::NegotiateTimeout), 6);
}

TEST(VirtualTable, LogicOrder) {
  using api::Logic;
  EXPECT_EQ(Slot(&Logic::SetCommandReceivedCb), 2);
  EXPECT_EQ(Slot(&Logic::SendResult), 3);
  EXPECT_EQ(Slot(&Logic::OnConnected), 4);
  EXPECT_EQ(Slot(&Logic::OnDisconnected), 5);
  EXPECT_EQ(Slot(&Logic::NegotiateTimeout), 6);
  EXPECT_EQ(Slot(static_cast<void (Logic::*)(const handlers::HandlerAdded&)>(&Logic::Update)), 7);
  EXPECT_EQ(Slot(static_cast<void (Logic::*)(const handlers::HandlerRemoved&)>(&Logic::Update)), 8);
  EXPECT_EQ(Slot(static_cast<void (Logic::*)(const handlers::HandlerUpdated&)>(&Logic::Update)), 9);
  EXPECT_EQ(Slot(&Logic::SendCommand), 10);
  EXPECT_EQ(Slot(&Logic::SetResponseCallback), 11);
  EXPECT_EQ(Slot(&Logic::SetNegotiationCallback), 12);
  EXPECT_EQ(Slot(&Logic::SetConfiguration), 13);
  EXPECT_EQ(Slot(&Logic::ForeachHandler), 14);
  EXPECT_EQ(Slot(&Logic::SetHandlerUpdateCallback), 15);
}

TEST(VirtualTable, ServiceOrder) {
  using Service = rpc_port::stub::stub::CommandHandler::ServiceBase;
  EXPECT_EQ(Slot(&Service::OnCreate), 2);
  EXPECT_EQ(Slot(&Service::OnTerminate), 3);
  EXPECT_EQ(Slot(&Service::SetCommandReceivedCb), 4);
  EXPECT_EQ(Slot(&Service::SendResult), 5);
  EXPECT_EQ(Slot(&Service::NegotiateTimeout), 6);
  EXPECT_EQ(Slot(&Service::Factory::CreateService), 2);
  EXPECT_EQ(Slot(&ipc::ServiceManager::CreateService), 2);
}

TEST(VirtualTable, BaseHandlerOrder) {
  using handlers::BaseHandler;
  EXPECT_EQ(Slot(&BaseHandler::Id), 2);
  EXPECT_EQ(Slot(&BaseHandler::Notify), 3);
  EXPECT_EQ(Slot(&BaseHandler::FromJson), 4);
  EXPECT_EQ(Slot(&BaseHandler::ToJson), 5);
  EXPECT_EQ(Slot(&BaseHandler::Compare), 6);
}

TEST(VirtualTable, RegistryOrder) {
  EXPECT_EQ(Slot(&handlers::RepositoryBackend::Store), 2);
  EXPECT_EQ(Slot(&handlers::RepositoryBackend::Load), 3);
  EXPECT_EQ(Slot(&handlers::Source::Load), 2);
}

TEST(VirtualTable, ObserverOrder) {
  EXPECT_EQ(Slot(&common::IObserver<const handlers::HandlerAdded&>::Update), 2);
  EXPECT_EQ(Slot(&common::IObserver<const handlers::HandlerRemoved&>::Update), 2);
  EXPECT_EQ(Slot(&common::IObserver<const handlers::HandlerUpdated&>::Update), 2);
  using handlers::Manager;
  EXPECT_EQ(Slot(static_cast<void (Manager::*)(const handlers::HandlerAdded&)>(&Manager::Update)),
            2);
  EXPECT_EQ(Slot(static_cast<void (Manager::*)(const handlers::HandlerRemoved&)>(&Manager::Update)),
            3);
  EXPECT_EQ(Slot(static_cast<void (Manager::*)(const handlers::HandlerUpdated&)>(&Manager::Update)),
            4);
}

TEST(VirtualTable, ExceptionOrder) { EXPECT_EQ(Slot(&QorCommonException::what), 2); }

}  // namespace
