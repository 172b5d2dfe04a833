// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ipc/service-manager.h"

#include <atomic>
#include <future>

#include "ipc/active-object.h"
#include "library-test.h"

namespace {

using support::HandlerPeer;
using support::kAnyLine;
using Strings = std::vector<std::string>;

class RecordingTaker : public ipc::RequestTaker {
 public:
  void SetCommandReceivedCb(const HandlerId& sender, ipc::OnCommandReceivedUniqePtr cb) override {
    calls.push_back("fetch " + sender + " " + cb->GetTag());
    callback = std::move(cb);
  }
  bool SendResult(const HandlerId& sender, rpc_port::stub::Result result) override {
    calls.push_back("result " + sender + " " + result.uuid);
    return answer;
  }
  void OnConnected(const HandlerId& sender) override { calls.push_back("connected " + sender); }
  void OnDisconnected(const HandlerId& sender) override {
    calls.push_back("disconnected " + sender);
  }
  bool NegotiateTimeout(const HandlerId& sender, const std::string& uuid, double timeout) override {
    calls.push_back("negotiate " + sender + " " + uuid + " " + std::to_string(timeout));
    return answer;
  }

  Strings calls;
  bool answer = true;
  ipc::OnCommandReceivedUniqePtr callback;
};

class ServiceManager : public support::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    manager_->SetRequestTaker(taker_);
    stub_ = std::make_unique<rpc_port::stub::stub::CommandHandler>();
    stub_->Listen(manager_);
  }

  void TearDown() override {
    stub_.reset();
    taker_.reset();
    PlatformTest::TearDown();
  }

  std::shared_ptr<RecordingTaker> taker_ = std::make_shared<RecordingTaker>();
  std::shared_ptr<ipc::ServiceManager> manager_ = std::make_shared<ipc::ServiceManager>();
  std::unique_ptr<rpc_port::stub::stub::CommandHandler> stub_;
};

TEST_F(ServiceManager, ForwardsCallsWithSender) {
  HandlerPeer peer("app", "one");
  EXPECT_EQ(peer.Fetch(7), 0);
  EXPECT_EQ(peer.Answer("a"), 0);
  EXPECT_EQ(peer.Negotiate("b", 1.5), 0);
  peer.Disconnect();
  EXPECT_EQ(taker_->calls, (Strings{"connected app", "fetch app 1::7", "result app a",
                                    "negotiate app b 1.500000", "disconnected app"}));
}

TEST_F(ServiceManager, UsesSameSenderForAllConnectionsOfApplication) {
  HandlerPeer first("app", "one");
  HandlerPeer second("app", "two");
  first.Answer("a");
  second.Answer("b");
  first.Disconnect();
  second.Disconnect();
  EXPECT_EQ(taker_->calls, (Strings{"connected app", "connected app", "result app a",
                                    "result app b", "disconnected app", "disconnected app"}));
}

TEST_F(ServiceManager, RepliesWithResultOfTaker) {
  HandlerPeer peer("app", "one");
  peer.Answer("a");
  EXPECT_EQ(peer.LastReply(), true);
  peer.Negotiate("a", 1.0);
  EXPECT_EQ(peer.LastReply(), true);
  taker_->answer = false;
  peer.Answer("a");
  EXPECT_EQ(peer.LastReply(), false);
  peer.Negotiate("a", 1.0);
  EXPECT_EQ(peer.LastReply(), false);
}

TEST_F(ServiceManager, KeepsTakerOfEstablishedConnections) {
  HandlerPeer peer("app", "one");
  manager_->SetRequestTaker(nullptr);
  const std::weak_ptr<RecordingTaker> taker = taker_;
  RecordingTaker* raw = taker_.get();
  taker_.reset();
  ASSERT_FALSE(taker.expired());
  EXPECT_EQ(peer.Answer("a"), 0);
  EXPECT_EQ(raw->calls.back(), "result app a");
  peer.Disconnect();
  EXPECT_TRUE(taker.expired());
}

TEST_F(ServiceManager, LogsEnterAndExitOfEachService) {
  fake::Connect("app", "one");
  EXPECT_EQ(support::CountLogged(
                DLOG_DEBUG, support::EnterLine("service-manager.cc", "CreateService", kAnyLine)),
            1);
  EXPECT_EQ(
      support::CountLogged(DLOG_DEBUG, support::ExitLine("service-manager.cc", "CreateService")),
      1);
}

using rpc_port::stub::stub::ActiveObject;
using rpc_port::stub::stub::Job;

class Event : public Job::IEvent {
 public:
  void OnJobRun() override { ran.set_value(std::this_thread::get_id()); }
  std::promise<std::thread::id> ran;
};

TEST(ActiveObjectTest, RunsJobsOnOwnThread) {
  ActiveObject object;
  Event event;
  object.Send(std::make_shared<Job>(&event));
  EXPECT_NE(event.ran.get_future().get(), std::this_thread::get_id());
}

TEST(ActiveObjectTest, RunsQueuedJobsBeforeDestruction) {
  Event first;
  Event second;
  {
    ActiveObject object;
    object.Send(std::make_shared<Job>(&first));
    object.Send(std::make_shared<Job>(&second));
  }
  EXPECT_EQ(first.ran.get_future().get(), second.ran.get_future().get());
}

TEST(ActiveObjectTest, StopsAtStopJob) {
  std::atomic<bool> ran{false};
  class Late : public Job::IEvent {
   public:
    explicit Late(std::atomic<bool>* flag) : flag_(flag) {}
    void OnJobRun() override { *flag_ = true; }

   private:
    std::atomic<bool>* flag_;
  } late(&ran);
  {
    ActiveObject object;
    object.Send(std::make_shared<Job>(nullptr, true));
    object.Send(std::make_shared<Job>(&late));
  }
  EXPECT_FALSE(ran);
}

}  // namespace
