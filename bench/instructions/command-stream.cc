// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// The counted and profiled program: an agent that repeats one operation, one at a time, with the
// same texts in every run.
//
//   command-stream install FOLDER COUNT   installs a package COUNT times
//   command-stream commands BYTES COUNT   sends COUNT commands with a payload of BYTES
//   command-stream updates COUNT          receives COUNT updates of a handler's package; prints a
//                                         line when ready

#include <Ecore.h>
#include <package_manager.h>
#include <qor_handler_manager.h>

#include <cstdio>
#include <exception>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

// Generous, because callgrind slows everything down.
constexpr int kCommandTimeoutMs = 120'000;

void Require(int result, const char* what) {
  if (result != 0) throw std::runtime_error(std::string(what) + ": " + std::to_string(result));
}

void Install(const std::string& folder, int count) {
  package_manager_request_h request = nullptr;
  Require(package_manager_request_create(&request), "request");
  for (int i = 0; i < count; ++i)
    Require(package_manager_request_install(request, folder.c_str(), nullptr), folder.c_str());
  package_manager_request_destroy(request);
}

// Initializes the main loop and the library; shuts both down in the destructor.
class Library {
 public:
  Library() {
    ecore_init();
    qor_handler_manager_configuration_h config = nullptr;
    Require(qor_handler_manager_configuration_create(&config), "configuration");
    qor_handler_manager_configuration_set_command_execution_timeout(config, kCommandTimeoutMs);
    qor_handler_manager_configuration_set_connection_timeout(config, kCommandTimeoutMs);
    const int result = qor_handler_manager_initialize(config);
    qor_handler_manager_configuration_destroy(config);
    Require(result, "cannot initialize the library");
  }
  Library(const Library&) = delete;
  Library& operator=(const Library&) = delete;
  ~Library() {
    qor_handler_manager_shutdown();
    ecore_shutdown();
  }
};

void SendCommands(std::size_t payload_bytes, int count) {
  const Library library;
  const std::string payload(payload_bytes, 'x');
  int answered = 0;
  qor_handler_manager_set_response_cb(
      [](const char*, qor_request_status_e status, const char*, int, const char*, int, void* data) {
        if (status == QOR_REQUEST_STATUS_SUCCESS) ++*static_cast<int*>(data);
        ecore_main_loop_quit();
      },
      &answered);
  for (int sent = 1; sent <= count; ++sent) {
    Require(qor_handler_manager_send_command("0b9c1f0e-5d3a-4a57-9d7c-3f6f2c1a7e10", "text.echo",
                                             payload.c_str(), static_cast<int>(payload.size()), 0),
            "cannot send a command");
    ecore_main_loop_begin();
    if (answered != sent) throw std::runtime_error("a command failed");
  }
}

void ReceiveUpdates(int count) {
  const Library library;
  int remaining = count;
  qor_handler_manager_set_handler_update_cb(
      [](qor_handler_update_type_e, qor_handler_manager_handler_info_h, void* data) {
        if (--*static_cast<int*>(data) == 0) ecore_main_loop_quit();
      },
      &remaining);
  std::puts("listening");
  std::fflush(stdout);
  ecore_main_loop_begin();
}

int Run(const std::vector<std::string>& arguments) {
  if (arguments.size() == 3 && arguments[0] == "install") {
    Install(arguments[1], std::stoi(arguments[2]));
  } else if (arguments.size() == 3 && arguments[0] == "commands") {
    SendCommands(std::stoul(arguments[1]), std::stoi(arguments[2]));
  } else if (arguments.size() == 2 && arguments[0] == "updates") {
    ReceiveUpdates(std::stoi(arguments[1]));
  } else {
    throw std::runtime_error(
        "usage: command-stream install FOLDER COUNT | commands BYTES COUNT | updates COUNT");
  }
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  try {
    return Run({argv + 1, argv + argc});
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
}
