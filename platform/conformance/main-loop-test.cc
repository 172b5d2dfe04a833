// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>

#include <atomic>
#include <thread>

#include "traits.h"

namespace {

using conformance::RunLoopUntil;

class MainLoop : public conformance::Test {
 protected:
  static void* NoteThread(void* data) {
    *static_cast<std::thread::id*>(data) = std::this_thread::get_id();
    return data;
  }
};

DOCUMENTED_TEST(MainLoop, IsTheThreadThatStartedIt) {
  EXPECT_TRUE(eina_main_loop_is());
  bool other = true;
  std::thread([&other] { other = eina_main_loop_is(); }).join();
  EXPECT_FALSE(other);
}

DOCUMENTED_TEST(MainLoop, RunsASynchronousCallOfItsOwnThreadAtOnce) {
  std::thread::id ran_on;
  EXPECT_EQ(ecore_main_loop_thread_safe_call_sync(NoteThread, &ran_on), &ran_on);
  EXPECT_EQ(ran_on, std::this_thread::get_id());
}

DOCUMENTED_TEST(MainLoop, RunsASynchronousCallWithinOneOfItsOwnThread) {
  std::thread::id ran_on;
  ecore_main_loop_thread_safe_call_sync(
      [](void* data) { return ecore_main_loop_thread_safe_call_sync(NoteThread, data); }, &ran_on);
  EXPECT_EQ(ran_on, std::this_thread::get_id());
}

DOCUMENTED_TEST(MainLoop, RunsASynchronousCallOfAnotherThread) {
  std::atomic<bool> returned{false};
  std::thread::id ran_on;
  std::thread caller([&] {
    EXPECT_EQ(ecore_main_loop_thread_safe_call_sync(NoteThread, &ran_on), &ran_on);
    returned = true;
  });
  EXPECT_TRUE(RunLoopUntil([&returned] { return returned.load(); }));
  caller.join();
  EXPECT_EQ(ran_on, std::this_thread::get_id());
}

DOCUMENTED_TEST(MainLoop, RunsAnAsynchronousCallOfAnotherThread) {
  static std::atomic<bool> ran{false};
  ran = false;
  std::thread([] {
    ecore_main_loop_thread_safe_call_async([](void*) { ran = true; }, nullptr);
  }).join();
  EXPECT_TRUE(RunLoopUntil([] { return ran.load(); }));
}

}  // namespace
