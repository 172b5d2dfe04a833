// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler whose work takes longer than any agent waits by itself: a thread that asks for more
// time for as long as it gets on, and gives up when it gets none. The payload is the number of
// parts.

#include <dlog.h>
#include <qor/handler.h>

#include <chrono>
#include <condition_variable>
#include <cstdlib>
#include <list>
#include <mutex>
#include <string>
#include <thread>

namespace {

constexpr std::chrono::milliseconds kPart{400};
// The agent waits for two parts more, counted from the end of each.
constexpr double kSecondsToAskFor = 0.8;

// Work in threads that end when this does.
class Downloads {
 public:
  ~Downloads() {
    {
      const std::lock_guard<std::mutex> lock(mutex_);
      is_ending_ = true;
    }
    end_.notify_all();
    for (auto& thread : threads_) thread.join();
  }

  void Start(const qor::Command& command) {
    threads_.emplace_back([this, command] { Run(command); });
  }

 private:
  void Run(const qor::Command& command) {
    const long parts = std::strtol(command.Payload().c_str(), nullptr, 10);
    for (long part = 1; part <= parts; ++part) {
      if (!command.AskForSeconds(kSecondsToAskFor)) {
        command.Fail(R"({"ErrorCode":1,"ErrorDescription":"the agent does not wait"})");
        return;
      }
      if (!FetchPart()) return;
      dlog_print(DLOG_INFO, "PROGRESS-HANDLER", "%s: %ld %%", command.Uuid().c_str(),
                 100 * part / parts);
    }
    command.Succeed("{\"parts\":" + std::to_string(parts) + "}");
  }

  // Stands for work that takes its time. False when it was interrupted.
  bool FetchPart() {
    std::unique_lock<std::mutex> lock(mutex_);
    return !end_.wait_for(lock, kPart, [this] { return is_ending_; });
  }

  std::mutex mutex_;
  std::condition_variable end_;
  bool is_ending_ = false;
  std::list<std::thread> threads_;
};

}  // namespace

int main(int argc, char** argv) {
  Downloads downloads;
  qor::Handler handler;
  handler.On("firmware.download",
             [&downloads](const qor::Command& command) { downloads.Start(command); });
  return handler.Run(argc, argv);
}
