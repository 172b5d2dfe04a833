// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An agent whose machine has no process or no descriptor left for it.
#include <Ecore.h>
#include <dlfcn.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <vector>

#include "end-to-end/end-to-end-test.h"
#include "platform/linux/common/unix-socket.h"

namespace {

// What every launch fails with, 0 for none.
int launch_failure = 0;

}  // namespace

// In place of the C library's.
extern "C" __attribute__((visibility("default"))) int clone(int (*start)(void*), void* stack,
                                                            int flags, void* data, ...) {
  if (launch_failure != 0) {
    errno = launch_failure;
    return -1;
  }
  static const auto next = reinterpret_cast<decltype(&clone)>(dlsym(RTLD_NEXT, "clone"));
  return next(start, stack, flags, data);
}

namespace deaths {
namespace {

// As long as it lives, this process gets no further descriptor, or only so few.
class NoDescriptors {
 public:
  explicit NoDescriptors(int left = 0) {
    getrlimit(RLIMIT_NOFILE, &before_);
    // The numbers that are free need not be next to each other.
    std::vector<int> next(static_cast<std::size_t>(left) + 1);
    for (int& fd : next) fd = dup(STDERR_FILENO);
    for (const int fd : next) close(fd);
    const rlimit none = {static_cast<rlim_t>(next.back()), before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &none);
  }
  NoDescriptors(const NoDescriptors&) = delete;
  NoDescriptors& operator=(const NoDescriptors&) = delete;
  ~NoDescriptors() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_;
};

class Exhausted : public end_to_end::EndToEndTest {
 protected:
  Exhausted() {
    Install("text");
    StartAgent();
  }
  // Nothing of it stays pending: the uuid is free.
  void ExpectOrdinaryWorkOf(const std::string& uuid) {
    EXPECT_EQ(Execute(uuid, "text.echo", "\"a\"").result, "\"a\"");
  }
};

TEST_F(Exhausted, ALaunchWithoutProcessesFailsAndLeavesNothingPending) {
  for (const int reason : {EAGAIN, ENOMEM}) {
    launch_failure = reason;
    const auto refused = Execute("one", "text.echo", "\"a\"");
    launch_failure = 0;
    EXPECT_EQ(
        refused.error,
        "not accepted: " + std::to_string(QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL));
  }
  ExpectOrdinaryWorkOf("one");
}

TEST_F(Exhausted, ALaunchWithoutDescriptorsFailsAndLeavesNothingPending) {
  {
    // Too few for a launch; a sanitizer looks at exceptions with them.
    const NoDescriptors none(2);
    EXPECT_EQ(
        Execute("one", "text.echo", "\"a\"").error,
        "not accepted: " + std::to_string(QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL));
  }
  ExpectOrdinaryWorkOf("one");
}

TEST_F(Exhausted, AConnectedHandlerServesWithoutDescriptors) {
  ExpectOrdinaryWorkOf("one");
  {
    const NoDescriptors none;
    ExpectOrdinaryWorkOf("two");
  }
  ExpectOrdinaryWorkOf("three");
}

TEST_F(Exhausted, AnAgentWithoutDescriptorsRestsUntilItCanHearOfPackages) {
  // First, since sanitizers meet a type with the help of descriptors.
  Install("text-preferred");
  ASSERT_TRUE(AwaitUpdates(1));
  const auto installer = platform::ConnectTo(Root() + "/run/events", std::to_string(getpid()));
  ASSERT_TRUE(installer);
  {
    const NoDescriptors none;
    // Nothing but its trying wakes the loop.
    int turns = 0;
    const double begin = ecore_time_get();
    EXPECT_TRUE(tools::RunUntil([&] { return ++turns >= 6; }, end_to_end::kPatienceSeconds));
    EXPECT_GT(ecore_time_get() - begin, 1.0);
  }
  Uninstall("org.example.preferred");
  EXPECT_TRUE(AwaitUpdates(2));
}

}  // namespace
}  // namespace deaths
