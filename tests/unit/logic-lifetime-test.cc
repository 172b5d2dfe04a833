// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <memory>
#include <utility>

#include "api/logic.h"
#include "handlers/installed-apps-source.h"
#include "ipc/service-manager.h"
#include "library-test.h"
#include "memory-backend.h"

namespace {

using support::HandlerPeer;
using support::InstallHandler;
using support::InstallPackage;

// An object graph that is destroyed in callbacks. Not created by make_shared: weak pointers would
// keep the memory and hide a use after free.
class LogicLifetime : public support::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    InstallHandler("h", {"type"});
    auto manager = std::make_shared<handlers::Manager>(
        std::make_shared<handlers::Repository>(std::make_unique<support::MemoryBackend>(store_)));
    source_.reset(new handlers::InstalledAppsSource);
    manager->AddSource(source_);
    manager->Reload();
    logic_.reset(new api::Logic);
    logic_->Bind(std::move(manager));
    source_->AttachToAll(logic_);
    factory_->SetRequestTaker(logic_);
    stub_.reset(new rpc_port::stub::stub::CommandHandler);
    stub_->Listen(factory_);
    logic_->SetResponseCallback(
        [](const char*, qor_request_status_e, const char*, int, const char*, int, void* data) {
          static_cast<LogicLifetime*>(data)->TakeDown();
        },
        this);
    logic_->SetNegotiationCallback(
        [](const char*, const char*, double, void* data) {
          static_cast<LogicLifetime*>(data)->TakeDown();
          return 0;
        },
        this);
    logic_->SetHandlerUpdateCallback(
        [](qor_handler_update_type_e, qor_handler_manager_handler_info_h, void* data) {
          static_cast<LogicLifetime*>(data)->TakeDown();
        },
        this);
  }

  // Destroys the graph as a shutdown does.
  void TakeDown() {
    if (!logic_) return;
    ++taken_down_;
    const std::weak_ptr<api::Logic> router = logic_;
    factory_->SetRequestTaker(nullptr);
    logic_->UnbindAll();
    logic_->ShutDown();
    logic_.reset();
    stub_.reset();
    source_.reset();
    EXPECT_FALSE(router.expired()) << "destroyed during an event";
  }

  void TearDown() override {
    EXPECT_EQ(taken_down_, 1);
    PlatformTest::TearDown();
  }

  std::shared_ptr<support::MemoryStore> store_ = std::make_shared<support::MemoryStore>();
  std::shared_ptr<handlers::InstalledAppsSource> source_;
  std::shared_ptr<api::Logic> logic_;
  std::shared_ptr<ipc::ServiceManager> factory_ = std::make_shared<ipc::ServiceManager>();
  std::shared_ptr<rpc_port::stub::stub::CommandHandler> stub_;
  int taken_down_ = 0;
};

TEST_F(LogicLifetime, ExtendsThroughConnectionTimeout) {
  logic_->SendCommand("a", "type", "", 0, 0);
  fake::Advance(5);
}

TEST_F(LogicLifetime, ExtendsThroughExecutionTimeout) {
  HandlerPeer handler("h");
  handler.Fetch();
  logic_->SendCommand("a", "type", "", 0, 0);
  fake::Advance(3);
}

TEST_F(LogicLifetime, ExtendsThroughResult) {
  HandlerPeer handler("h");
  handler.Fetch();
  logic_->SendCommand("a", "type", "", 0, 0);
  EXPECT_EQ(handler.Answer("a"), -1);
}

TEST_F(LogicLifetime, ExtendsThroughNegotiation) {
  HandlerPeer handler("h");
  handler.Fetch();
  logic_->SendCommand("a", "type", "", 0, 0);
  EXPECT_EQ(handler.Negotiate("a", 1.0), -1);
}

TEST_F(LogicLifetime, ExtendsThroughInstallation) {
  InstallPackage("pair", {{"a", {{"x"}}}, {"b", {{"y"}}}});
  support::RaiseInstalled("pair");
}

TEST_F(LogicLifetime, ExtendsThroughUpdate) { support::RaiseUpdated(support::PackageOf("h")); }

TEST_F(LogicLifetime, ExtendsThroughRemoval) {
  support::RaiseUninstalling(support::PackageOf("h"));
}

}  // namespace
