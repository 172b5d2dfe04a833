// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler with work longer than any timeout: a thread that requests an extension for each part of
// the work and gives up when it is denied. The payload is the number of parts.

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
// Time for two parts, counted from the start of each.
constexpr double kSecondsToAskFor = 0.8;

// Runs each download in a thread. The destructor interrupts and joins them.
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
        command.Fail(R"({"ErrorCode":1,"ErrorDescription":"extension denied"})");
        return;
      }
      if (!FetchPart()) return;
      dlog_print(DLOG_INFO, "PROGRESS-HANDLER", "%s: %ld %%", command.Uuid().c_str(),
                 100 * part / parts);
    }
    command.Succeed("{\"parts\":" + std::to_string(parts) + "}");
  }

  // Simulates work. Returns false when interrupted.
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
