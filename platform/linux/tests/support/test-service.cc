// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A service application that writes its callbacks to the FIFO `report` in the root, one line each.
// If the root contains a FIFO `gate`, the service reads a byte from it before it starts; for 'x' it
// exits.
#include <fcntl.h>
#include <service_app.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

#include "report.h"

namespace {

using platform::test::Report;
using platform::test::Root;

std::string Take(char* text) {
  std::string copy = text == nullptr ? "(null)" : text;
  std::free(text);
  return copy;
}

std::string ExtraData(app_control_h request, const char* key) {
  char* value = nullptr;
  if (app_control_get_extra_data(request, key, &value) != APP_CONTROL_ERROR_NONE) return {};
  return Take(value);
}

std::string CallerOf(app_control_h request) {
  char* caller = nullptr;
  const int result = app_control_get_caller(request, &caller);
  return result == APP_CONTROL_ERROR_NONE ? Take(caller) : std::to_string(result);
}

std::string OwnId() {
  char* id = nullptr;
  return app_get_id(&id) == APP_ERROR_NONE ? Take(id) : "(none)";
}

int OpenDescriptors() {
  int count = 0;
  for (int fd = 0; fd < 256; ++fd)
    if (fcntl(fd, F_GETFD) != -1) ++count;
  return count;
}

std::string WorkingFolder() {
  char* folder = get_current_dir_name();
  return Take(folder);
}

bool OnCreate(void*) {
  Report("create " + std::to_string(getpid()));
  return std::getenv("TEST_SERVICE_FAILS_CREATE") == nullptr;
}

void OnTerminate(void*) { Report("terminate"); }

void OnRequest(app_control_h request, void*) {
  const std::string action = ExtraData(request, "do");
  if (action == "report-caller") {
    Report("caller " + CallerOf(request));
  } else if (action == "report-paths") {
    Report(OwnId() + " " + Take(app_get_data_path()) + " " + Take(app_get_resource_path()));
  } else if (action == "report-working-folder") {
    Report(WorkingFolder() + " " + std::to_string(getsid(0) == getpid()));
  } else if (action == "run-again") {
    service_app_lifecycle_callback_s callbacks = {OnCreate, OnTerminate, OnRequest};
    char name[] = "service";
    char* arguments[] = {name, nullptr};
    Report("again " + std::to_string(service_app_main(1, arguments, &callbacks, nullptr)));
  } else if (action == "exit") {
    service_app_exit();
  } else if (action == "exit-with") {
    _exit(std::stoi(ExtraData(request, "text")));
  } else if (action == "print") {
    std::printf("%s\n", ExtraData(request, "text").c_str());
    std::fflush(stdout);
    std::fprintf(stderr, "error %s\n", ExtraData(request, "text").c_str());
    Report("printed");
  } else if (action == "print-without-end") {
    for (long line = 0;; ++line) std::printf("line %ld\n", line);
  } else {
    const std::string text = ExtraData(request, "text");
    Report("request " + text.substr(0, 64) + " " + std::to_string(text.size()));
  }
}

}  // namespace

int main(int argc, char** argv) {
  const int descriptors = OpenDescriptors();
  const int gate = open((Root() + "/gate").c_str(), O_RDONLY | O_CLOEXEC);
  char ticket = 0;
  if (gate >= 0 && read(gate, &ticket, 1) == 1 && ticket == 'x') return 1;
  if (std::getenv("TEST_SERVICE_COUNTS_DESCRIPTORS") != nullptr)
    Report("descriptors " + std::to_string(descriptors));
  service_app_lifecycle_callback_s callbacks = {OnCreate, OnTerminate, OnRequest};
  return service_app_main(argc, argv, &callbacks, nullptr) == APP_ERROR_NONE ? 0 : 2;
}
