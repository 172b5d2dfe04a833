// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <array>
#include <functional>
#include <memory>
#include <utility>

#include "api/logic.h"
#include "common/exceptions.h"
#include "handlers/installed-apps-source.h"
#include "ipc/service-manager.h"
#include "library-test.h"
#include "memory-backend.h"

namespace {

using rpc_port::stub::stub::CommandHandler;
using support::HandlerPeer;

// Forwards all requests to the router, except the handler's callback object, which it stores.
class CallbackKeeper : public ipc::RequestTaker {
 public:
  explicit CallbackKeeper(std::shared_ptr<api::Logic> logic) : logic_(std::move(logic)) {}

  void SetCommandReceivedCb(const HandlerId&, ipc::OnCommandReceivedUniqePtr cb) override {
    callback = std::move(cb);
  }
  bool SendResult(const HandlerId& sender, rpc_port::stub::Result result) override {
    return logic_->SendResult(sender, std::move(result));
  }
  void OnConnected(const HandlerId& sender) override { logic_->OnConnected(sender); }
  void OnDisconnected(const HandlerId& sender) override { logic_->OnDisconnected(sender); }
  bool NegotiateTimeout(const HandlerId& sender, const std::string& uuid, double timeout) override {
    return logic_->NegotiateTimeout(sender, uuid, timeout);
  }

  ipc::OnCommandReceivedUniqePtr callback;

 private:
  std::shared_ptr<api::Logic> logic_;
};

// The parts of a running library, destroyed in any order. Not created by make_shared: weak pointers
// would keep the memory and hide a use after free.
class DestructionOrder : public support::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    support::InstallHandler("h", {"type"});
  }

  void TearDown() override {
    ReleaseAll();
    PlatformTest::TearDown();
  }

  void Build() {
    auto manager = std::make_shared<handlers::Manager>(
        std::make_shared<handlers::Repository>(std::make_unique<support::MemoryBackend>(store_)));
    source_.reset(new handlers::InstalledAppsSource);
    manager->AddSource(source_);
    manager->Reload();
    record_ = manager->GetHandler("type");
    logic_.reset(new api::Logic);
    logic_->Bind(std::move(manager));
    source_->AttachToAll(logic_);
    const std::shared_ptr<CallbackKeeper> keeper(new CallbackKeeper(logic_));
    ipc::ServiceManager factory;
    factory.SetRequestTaker(keeper);
    service_ = factory.CreateService("h", "no connection");
    const std::shared_ptr<ipc::ServiceManager> listening(new ipc::ServiceManager(factory));
    stub_.reset(new CommandHandler);
    stub_->Listen(listening);
    HandlerPeer peer("h", "instance " + std::to_string(++builds_));
    peer.Fetch();
    callback_ = std::move(keeper->callback);
    logic_->SendCommand("pending", "type", "", 0, 0);
  }

  void Release(int part) {
    const std::array<std::function<void()>, kParts> releases = {
        [this] { logic_.reset(); },  [this] { stub_.reset(); },     [this] { source_.reset(); },
        [this] { record_.reset(); }, [this] { callback_.reset(); }, [this] { service_.reset(); }};
    releases[static_cast<std::size_t>(part)]();
  }

  void ReleaseAll() {
    for (int part = 0; part < kParts; ++part) Release(part);
  }

  // Uses the remaining parts. Missing parts may cause errors but no crash.
  void Use() {
    if (service_) {
      EXPECT_TRUE(service_->SendResult({}));
      EXPECT_FALSE(service_->NegotiateTimeout("unknown", 1.0));
    }
    if (callback_) {
      const bool connected = stub_ != nullptr;
      if (connected) {
        EXPECT_NO_THROW(callback_->Invoke("uuid", {}));
      } else {
        EXPECT_THROW(callback_->Invoke("uuid", {}),
                     rpc_port::stub::stub::NotConnectedSocketException);
      }
    }
    if (record_) {
      EXPECT_NO_THROW(record_->Notify());
    }
    support::RaiseUpdated(support::PackageOf("h"));
    fake::Advance(1);
  }

  static constexpr int kParts = 6;

 private:
  std::shared_ptr<support::MemoryStore> store_ = std::make_shared<support::MemoryStore>();
  std::shared_ptr<api::Logic> logic_;
  std::unique_ptr<CommandHandler> stub_;
  std::shared_ptr<handlers::InstalledAppsSource> source_;
  std::shared_ptr<handlers::BaseHandler> record_;
  std::unique_ptr<CommandHandler::OnCommandReceived> callback_;
  std::unique_ptr<CommandHandler::ServiceBase> service_;
  int builds_ = 0;
};

// The state after a failed start.
TEST_F(DestructionOrder, RouterWorksWithoutManager) {
  api::Logic router;
  router.OnConnected("h");
  router.SetCommandReceivedCb("h", nullptr);
  EXPECT_TRUE(router.SendResult("h", {}));
  EXPECT_FALSE(router.NegotiateTimeout("h", "a", 1.0));
  EXPECT_THROW(router.SendCommand("a", "type", "", 0, 0), NotSupportedCommand);
  EXPECT_EQ(support::CountLogged(
                DLOG_WARN,
                support::PlainLine(
                    "logic.cc", "SetCommandReceivedCb", support::kAnyLine,
                    "Received FetchCommands request from non-registered handler. Ignoring...")),
            1);
}

TEST_F(DestructionOrder, EveryOrderIsSafe) {
  std::array<int, kParts> order = {0, 1, 2, 3, 4, 5};
  do {
    Build();
    for (const int part : order) {
      Release(part);
      Use();
    }
    EXPECT_EQ(fake::OpenHandles(), "");
    ASSERT_FALSE(HasFailure()) << ::testing::PrintToString(order);
  } while (std::next_permutation(order.begin(), order.end()));
}

}  // namespace
