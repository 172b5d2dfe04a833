// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An agent that cannot get another process or descriptor.

#include <Ecore.h>
#include <dlfcn.h>
#include <sched.h>
#include <sys/resource.h>
#include <unistd.h>

#include <cerrno>
#include <cstdarg>
#include <vector>

#include "end-to-end/end-to-end-test.h"
#include "platform/linux/common/unix-socket.h"

namespace {

// The errno value with which every clone() fails; 0: clone() works.
int launch_failure = 0;

}  // namespace

// Replaces the C library's function, which the launcher calls.
extern "C" __attribute__((visibility("default"))) int clone(int (*start)(void*), void* stack,
                                                            int flags, void* data, ...) {
  if (launch_failure != 0) {
    errno = launch_failure;
    return -1;
  }
  va_list optional;
  va_start(optional, data);
  void* const process_descriptor = va_arg(optional, void*);
  va_end(optional);
  static const auto next = reinterpret_cast<decltype(&clone)>(dlsym(RTLD_NEXT, "clone"));
  return next(start, stack, flags, data, process_descriptor);
}

namespace crash {
namespace {

// Limits this process to `left` more descriptors during the lifetime of the object.
class DescriptorLimit {
 public:
  explicit DescriptorLimit(int left = 0) {
    getrlimit(RLIMIT_NOFILE, &before_);
    // Free descriptor numbers need not be contiguous, and RLIMIT_NOFILE bounds the number.
    std::vector<int> next(static_cast<std::size_t>(left) + 1);
    for (int& fd : next) fd = dup(STDERR_FILENO);
    for (const int fd : next) close(fd);
    const rlimit limit = {static_cast<rlim_t>(next.back()), before_.rlim_max};
    setrlimit(RLIMIT_NOFILE, &limit);
  }
  DescriptorLimit(const DescriptorLimit&) = delete;
  DescriptorLimit& operator=(const DescriptorLimit&) = delete;
  ~DescriptorLimit() { setrlimit(RLIMIT_NOFILE, &before_); }

 private:
  rlimit before_;
};

class ResourceExhaustion : public end_to_end::EndToEndTest {
 protected:
  ResourceExhaustion() {
    Install("text");
    StartAgent();
  }
  // Also checks that no command with the uuid is pending: a duplicate would be rejected.
  void ExpectCommandSucceeds(const std::string& uuid) {
    EXPECT_EQ(Execute(uuid, "text.echo", "\"a\"").result, "\"a\"");
  }
};

TEST_F(ResourceExhaustion, LaunchFailureWithoutProcessesLeavesNothingPending) {
  for (const int reason : {EAGAIN, ENOMEM}) {
    launch_failure = reason;
    const auto rejected = Execute("one", "text.echo", "\"a\"");
    launch_failure = 0;
    EXPECT_EQ(
        rejected.error,
        "not accepted: " + std::to_string(QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL));
  }
  ExpectCommandSucceeds("one");
}

TEST_F(ResourceExhaustion, LaunchFailureWithoutDescriptorsLeavesNothingPending) {
  {
    // Too few for a launch, but enough for UndefinedBehaviorSanitizer's checks of exceptions.
    const DescriptorLimit limit(2);
    EXPECT_EQ(
        Execute("one", "text.echo", "\"a\"").error,
        "not accepted: " + std::to_string(QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL));
  }
  ExpectCommandSucceeds("one");
}

TEST_F(ResourceExhaustion, ConnectedHandlerServesWithoutDescriptors) {
  ExpectCommandSucceeds("one");
  {
    const DescriptorLimit limit;
    ExpectCommandSucceeds("two");
  }
  ExpectCommandSucceeds("three");
}

TEST_F(ResourceExhaustion, PackageEventsArriveAfterDescriptorsAreFreed) {
  // Before the limit: UndefinedBehaviorSanitizer opens descriptors when it first sees a type.
  Install("text-preferred");
  ASSERT_TRUE(AwaitUpdates(1));
  const auto installer = platform::ConnectTo(Root() + "/run/events", std::to_string(getpid()));
  ASSERT_TRUE(installer);
  {
    const DescriptorLimit limit;
    // Only the retries of accept() wake the loop; without a backoff it would spin.
    int iterations = 0;
    const double begin = ecore_time_get();
    EXPECT_TRUE(tools::RunUntil([&] { return ++iterations >= 6; }, end_to_end::kTimeoutSeconds));
    EXPECT_GT(ecore_time_get() - begin, 1.0);
  }
  Uninstall("org.example.preferred");
  EXPECT_TRUE(AwaitUpdates(2));
}

}  // namespace
}  // namespace crash
