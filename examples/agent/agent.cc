// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An agent in C++: sends one command per payload, all at once, and prints each response or that it
// did not arrive before the deadline.
//
//   agent-cpp REQUEST_TYPE PAYLOAD...

#include <Ecore.h>
#include <qor_handler_manager.h>

#include <ctime>
#include <fstream>
#include <iostream>
#include <map>
#include <string>

namespace {

// Longer than both timeouts together. Needed, because not every command has a timeout.
constexpr double kDeadlineSeconds = 10;

// Handlers identify commands by their uuid, so it must be unique.
std::string NewUuid() {
  std::string uuid;
  std::ifstream("/proc/sys/kernel/random/uuid") >> uuid;
  return uuid;
}

class Agent {
 public:
  Agent() {
    ecore_init();
    qor_handler_manager_set_response_cb(
        [](const char* uuid, qor_request_status_e status, const char* result, int result_length,
           const char* error, int error_length, void* self) {
          const bool succeeded = status == QOR_REQUEST_STATUS_SUCCESS;
          const char* const text = succeeded ? result : error;
          const int length = succeeded ? result_length : error_length;
          static_cast<Agent*>(self)->OnResponse(uuid, succeeded,
                                                {text, static_cast<std::size_t>(length)});
        },
        this);
  }
  Agent(const Agent&) = delete;
  Agent& operator=(const Agent&) = delete;
  ~Agent() {
    qor_handler_manager_shutdown();
    ecore_shutdown();
  }

  void Send(const std::string& type, const std::string& payload) {
    const std::string uuid = NewUuid();
    const int error =
        qor_handler_manager_send_command(uuid.c_str(), type.c_str(), payload.c_str(),
                                         static_cast<int>(payload.size()), std::time(nullptr));
    if (error == 0) {
      payloads_[uuid] = payload;
    } else {
      std::cerr << "cannot send " << type << ": error " << error << "\n";
      all_succeeded_ = false;
    }
  }

  // Returns whether every command succeeded.
  bool AwaitResponses() {
    if (payloads_.empty()) return all_succeeded_;
    ecore_timer_add(kDeadlineSeconds, OnDeadline, nullptr);
    ecore_main_loop_begin();
    for (const auto& [uuid, payload] : payloads_) std::cout << payload << ": no response\n";
    return all_succeeded_ && payloads_.empty();
  }

 private:
  static Eina_Bool OnDeadline(void*) {
    ecore_main_loop_quit();
    return ECORE_CALLBACK_CANCEL;
  }

  void OnResponse(const std::string& uuid, bool succeeded, const std::string& text) {
    const auto found = payloads_.find(uuid);
    // A result that arrives after the timeout is a second response with the same uuid.
    if (found == payloads_.end()) return;
    std::cout << found->second << (succeeded ? ": " : " failed: ") << text << "\n";
    all_succeeded_ = all_succeeded_ && succeeded;
    payloads_.erase(found);
    if (payloads_.empty()) ecore_main_loop_quit();
  }

  // Payloads of the commands without a response, by uuid.
  std::map<std::string, std::string> payloads_;
  bool all_succeeded_ = true;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: " << argv[0] << " REQUEST_TYPE PAYLOAD...\n";
    return 2;
  }
  Agent agent;
  for (int i = 2; i < argc; ++i) agent.Send(argv[1], argv[i]);
  return agent.AwaitResponses() ? 0 : 1;
}
