// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Runs one of these commands in a separate process:
//   install PATH         installs a package; exit status 0 on success
//   uninstall ID         uninstalls a package; exit status 0 on success
//   launch APP_ID        sends a launch request that makes the application report its caller; exits
//                        at the end of standard input
//   listen MASK          writes package events to the root's FIFO `report` until a byte is written
//                        to the root's FIFO `stop`
//   listen-unresponsive  subscribes to package events, but never runs its main loop
#include <Ecore.h>
#include <app_control.h>
#include <fcntl.h>
#include <package_manager.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <string>

#include "report.h"

namespace {

using platform::test::Report;
using platform::test::Root;

// Describes the package's state in the database and on the disk: "version 1.0.0 with files".
std::string StateOf(const char* package) {
  package_info_h info = nullptr;
  if (package_manager_get_package_info(package, &info) != PACKAGE_MANAGER_ERROR_NONE)
    return "not installed";
  char* version = nullptr;
  char* root = nullptr;
  package_info_get_version(info, &version);
  package_info_get_root_path(info, &root);
  const bool has_files = access((std::string(root) + "/bin/app").c_str(), X_OK) == 0;
  const std::string state =
      "version " + std::string(version) + (has_files ? " with files" : " without files");
  std::free(version);
  std::free(root);
  package_info_destroy(info);
  return state;
}

void OnEvent(const char* type, const char* package, package_manager_event_type_e event_type,
             package_manager_event_state_e state, int progress, package_manager_error_e error,
             void*) {
  Report(std::string(type) + " " + package + " type " + std::to_string(event_type) + " state " +
         std::to_string(state) + " at " + std::to_string(progress) + " error " +
         std::to_string(error) + ": " + StateOf(package));
}

int Request(const char* command, const char* argument) {
  package_manager_request_h request = nullptr;
  package_manager_request_create(&request);
  const int result = std::strcmp(command, "install") == 0
                         ? package_manager_request_install(request, argument, nullptr)
                         : package_manager_request_uninstall(request, argument, nullptr);
  package_manager_request_destroy(request);
  return result == PACKAGE_MANAGER_ERROR_NONE ? 0 : 1;
}

int Launch(const char* app_id) {
  app_control_h request = nullptr;
  app_control_create(&request);
  app_control_set_app_id(request, app_id);
  app_control_add_extra_data(request, "do", "report-caller");
  const int result = app_control_send_launch_request(request, nullptr, nullptr);
  app_control_destroy(request);
  char end = 0;
  while (read(STDIN_FILENO, &end, 1) > 0) continue;
  return result == APP_CONTROL_ERROR_NONE ? 0 : 1;
}

Eina_Bool OnStop(void*, Ecore_Fd_Handler*) {
  ecore_main_loop_quit();
  return ECORE_CALLBACK_CANCEL;
}

int Listen(int mask, bool runs_loop) {
  ecore_init();
  const int stop = open((Root() + "/stop").c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC);
  ecore_main_fd_handler_add(stop, ECORE_FD_READ, OnStop, nullptr, nullptr, nullptr);
  package_manager_h manager = nullptr;
  package_manager_create(&manager);
  package_manager_set_event_cb(manager, OnEvent, nullptr);
  package_manager_set_event_status(manager, mask);
  Report("listening");
  if (runs_loop) {
    ecore_main_loop_begin();
  } else {
    pause();
  }
  package_manager_destroy(manager);
  close(stop);
  ecore_shutdown();
  return 0;
}

}  // namespace

int main(int argc, char** argv) {
  const std::string command = argc > 1 ? argv[1] : "";
  if (command == "listen-unresponsive") return Listen(PACKAGE_MANAGER_STATUS_TYPE_ALL, false);
  if (argc < 3) return 2;
  if (command == "listen") return Listen(std::atoi(argv[2]), true);
  if (command == "launch") return Launch(argv[2]);
  return Request(argv[1], argv[2]);
}
