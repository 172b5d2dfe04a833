// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "library-peer.h"

#include <Ecore.h>
#include <package_manager.h>

#include <stdexcept>

namespace bench {

namespace {

constexpr int kTimeoutMs = 20'000;

int InstallExample(const std::string& packages) {
  package_manager_request_h request = nullptr;
  int id = 0;
  package_manager_request_create(&request);
  const int result = package_manager_request_install(request, (packages + "/echo").c_str(), &id);
  package_manager_request_destroy(request);
  if (result != 0) throw std::runtime_error("the example package could not be installed");
  return kTimeoutMs;
}

// Sends the next command as soon as the last one is answered.
struct Series {
  const Texts& texts;
  std::size_t left;
  std::vector<double>& samples;
  Stopwatch watch = Stopwatch();

  void Send() const {
    // The command that was just answered is forgotten only after the callback, so its uuid is
    // taken.
    const std::string uuid = texts.uuid + (left % 2 == 0 ? "a" : "b");
    const int result = qor_handler_manager_send_command(uuid.c_str(), texts.request_type.c_str(),
                                                        texts.payload.c_str(),
                                                        static_cast<int>(texts.payload.size()), 0);
    if (result != 0) ecore_main_loop_quit();
  }

  static void OnResponse(const char*, qor_request_status_e status, const char*, int, const char*,
                         int, void* data) {
    auto* series = static_cast<Series*>(data);
    series->samples.push_back(series->watch.Lap());
    --series->left;
    if (series->left == 0 || status != QOR_REQUEST_STATUS_SUCCESS) {
      ecore_main_loop_quit();
    } else {
      series->Send();
    }
  }
};

}  // namespace

LibraryPeer::LibraryPeer(const std::string& packages)
    : agent_(InstallExample(packages), kTimeoutMs) {
  agent_.Send("warm-up", "text.echo", "{}");
  if (agent_.WaitForResponse("warm-up", kTimeoutMs) == nullptr) {
    throw std::runtime_error("the handler did not answer");
  }
}

void LibraryPeer::Measure(std::size_t count, std::size_t payload_bytes,
                          std::vector<double>& samples) {
  const Texts texts(payload_bytes);
  Series series{texts, count, samples};
  qor_handler_manager_set_response_cb(Series::OnResponse, &series);
  series.Send();
  ecore_main_loop_begin();
  if (series.left != 0) throw std::runtime_error("a command failed");
}

}  // namespace bench
