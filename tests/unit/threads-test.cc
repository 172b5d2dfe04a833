// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <atomic>
#include <functional>
#include <stdexcept>
#include <thread>

#include "ipc/active-object.h"
#include "one-handler-test.h"
#include "tizen/thread-utils.h"

namespace {

using rpc_port::stub::stub::ActiveObject;
using rpc_port::stub::stub::Job;
using support::HandlerPeer;
using tizen::ThreadUtils;

// Runs the main loop until other threads have finished.
void RunBeside(const std::vector<std::function<void()>>& parts) {
  std::atomic<std::size_t> done{0};
  std::vector<std::thread> threads;
  for (const auto& part : parts) {
    threads.emplace_back([&part, &done] {
      part();
      ++done;
    });
  }
  EXPECT_TRUE(fake::RunUntil([&] { return done == parts.size(); }));
  for (std::thread& thread : threads) thread.join();
}

void RunBeside(const std::function<void()>& part) { RunBeside(std::vector{part}); }

// C functions called on other threads than the main loop's. The fake platform reports every timer
// that is accessed on the wrong thread.
class Threads : public support::OneHandlerTest {};

TEST_F(Threads, CanCallEveryFunctionWhileLoopRuns) {
  RunBeside([this] {
    StartWithClient();
    SendAll({"a", "b", "c"});
    EXPECT_EQ(support::Client::Handlers().size(), 1u);
    EXPECT_EQ(Send("d", "no type"), QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
    EXPECT_EQ(qor_handler_manager_foreach_handler_info(
                  [](qor_handler_manager_handler_info_h info, void*) {
                    qor_handler_manager_handler_info_h clone = nullptr;
                    EXPECT_EQ(qor_handler_manager_handler_info_clone(info, &clone), 0);
                    EXPECT_EQ(qor_handler_manager_handler_info_destroy(clone), 0);
                    return true;
                  },
                  nullptr),
              0);
  });
  EXPECT_FALSE(fake::Timers().empty());
}

TEST_F(Threads, StartTimersThatFireOnLoopThread) {
  std::thread::id fired_on;
  client_.on_response = [&fired_on](const support::Response&) {
    fired_on = std::this_thread::get_id();
  };
  RunBeside([this] { SendAll({"a"}); });
  fake::Advance(5);
  EXPECT_EQ(fired_on, std::this_thread::get_id());
}

TEST_F(Threads, DeliverToConnectedHandler) {
  HandlerPeer handler = ConnectAndFetch();
  RunBeside([this] { SendAll({"a", "b"}); });
  EXPECT_EQ(handler.DeliveredUuids(), (std::vector<std::string>{"a", "b"}));
  EXPECT_EQ(handler.Answer("a"), 0);
  EXPECT_EQ(client_.AnsweredUuids(), std::vector<std::string>{"a"});
}

TEST_F(Threads, CanShutDownWithPendingCommands) {
  SendAll({"a", "b", "c", "d", "e"});
  RunBeside([] { EXPECT_EQ(qor_handler_manager_shutdown(), 0); });
  EXPECT_TRUE(fake::Timers().empty());
}

TEST_F(Threads, CanShutDownWithConnectedHandlers) {
  fake::Connect("h", "one");
  HandlerPeer handler("h", "two");
  handler.Fetch();
  SendAll({"a", "b", "c"});
  RunBeside([] { EXPECT_EQ(qor_handler_manager_shutdown(), 0); });
  EXPECT_TRUE(fake::Timers().empty());
  EXPECT_FALSE(fake::IsListening());
}

TEST_F(Threads, CanRestartRepeatedly) {
  RunBeside([this] {
    for (int i = 0; i < 20; ++i) {
      SendAll({"a", "b"});
      EXPECT_EQ(qor_handler_manager_shutdown(), 0);
    }
    StartWithClient();
  });
  SendAll({"a"});
  fake::Advance(5);
  EXPECT_EQ(client_.AnsweredUuids(), std::vector<std::string>{"a"});
}

TEST_F(Threads, ReceiveErrorOfTimerThatCannotBeCreated) {
  fake::FailAlways("ecore_timer_add", -1);
  RunBeside([this] {
    for (const char* uuid : {"a", "b", "c"}) {
      EXPECT_EQ(Send(uuid, "type"), QOR_HANDLER_MANAGER_ERROR_UNKNOWN);
    }
  });
}

// Calls on the main loop's thread from many threads at once.
class MainLoopCalls : public support::PlatformTest {
 protected:
  static constexpr int kThreads = 4;
  static constexpr int kCalls = 50;
};

TEST_F(MainLoopCalls, AreSerializedOnLoopThread) {
  const auto main_thread = std::this_thread::get_id();
  int count = 0;  // without a lock: only the loop's thread accesses it
  const std::vector<std::function<void()>> parts(kThreads, [&] {
    for (int i = 0; i < kCalls; ++i) {
      ThreadUtils::InvokeOnMainThreadSync([&] {
        EXPECT_EQ(std::this_thread::get_id(), main_thread);
        ++count;
      });
    }
  });
  RunBeside(parts);
  EXPECT_EQ(count, kThreads * kCalls);
}

TEST_F(MainLoopCalls, AreCompleteOnReturn) {
  const std::vector<std::function<void()>> parts(kThreads, [] {
    for (int i = 0; i < kCalls; ++i) {
      int local = 0;
      ThreadUtils::InvokeOnMainThreadSync([&local, i] { local = i; });
      EXPECT_EQ(local, i);
    }
  });
  RunBeside(parts);
}

TEST_F(MainLoopCalls, RethrowExceptionsToTheirCaller) {
  std::vector<std::function<void()>> parts;
  for (int thread = 0; thread < kThreads; ++thread) {
    parts.emplace_back([thread] {
      for (int i = 0; i < kCalls; ++i) {
        const std::string text = std::to_string(thread) + " " + std::to_string(i);
        try {
          ThreadUtils::InvokeOnMainThreadSync([&text] { throw std::runtime_error(text); });
          ADD_FAILURE() << text << " was lost";
        } catch (const std::runtime_error& error) {
          EXPECT_EQ(error.what(), text);
        }
        EXPECT_THROW(ThreadUtils::InvokeOnMainThreadSync([i] { throw i; }), int);
      }
    });
  }
  RunBeside(parts);
}

class CountingEvent : public Job::IEvent {
 public:
  void OnJobRun() override { ++runs; }

  int runs = 0;  // without a lock: only the worker accesses it until it is joined
};

TEST(Workers, AcceptJobsFromManyThreads) {
  CountingEvent event;
  {
    ActiveObject worker;
    std::vector<std::thread> senders;
    for (int i = 0; i < 4; ++i) {
      senders.emplace_back([&] {
        for (int job = 0; job < 50; ++job) worker.Send(std::make_shared<Job>(&event));
      });
    }
    for (std::thread& sender : senders) sender.join();
  }
  EXPECT_EQ(event.runs, 200);
}

TEST(Workers, CanBeCreatedAndDestroyedRepeatedly) {
  for (int i = 0; i < 50; ++i) {
    const std::vector<ActiveObject> workers(3);
    EXPECT_EQ(workers.size(), 3u);
  }
}

}  // namespace
