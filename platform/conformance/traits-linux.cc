// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <package_manager.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

#include "traits.h"

namespace conformance {
namespace {

namespace fs = std::filesystem;

fs::path root;

// Writes a package folder.
fs::path WritePackage(const Package& package) {
  const fs::path folder = root / "sources" / package.id;
  fs::create_directories(folder / "bin");
  std::ofstream manifest(folder / "tizen-manifest.xml");
  manifest << R"(<?xml version="1.0" encoding="utf-8"?>)"
           << "\n"
           << R"(<manifest xmlns="http://tizen.org/ns/packages" api-version="6.5" package=")"
           << package.id << R"(" version="1.0.0">)"
           << "\n";
  for (const App& app : package.apps) {
    manifest << R"(<service-application appid=")" << app.id << R"(" exec=")" << app.id
             << R"(" type="capp" nodisplay="true" multiple="false" taskmanage="false">)"
             << "\n";
    for (const auto& [key, value] : app.metadata) {
      manifest << R"(<metadata key=")" << key << R"(" value=")" << value << R"("/>)"
               << "\n";
    }
    manifest << "</service-application>\n";
    const fs::path executable = folder / "bin" / app.id;
    std::ofstream(executable) << "#!/bin/true\n";
    fs::permissions(executable, fs::perms::owner_all);
  }
  manifest << "<privileges>\n";
  for (const std::string& privilege : package.privileges) {
    manifest << "<privilege>" << privilege << "</privilege>\n";
  }
  manifest << "</privileges>\n</manifest>\n";
  return folder;
}

// Starts a request and runs the main loop until it has ended.
template <typename Request>
void RunRequest(Request request) {
  package_manager_request_h handle = nullptr;
  bool ended = false;
  if (package_manager_request_create(&handle) != PACKAGE_MANAGER_ERROR_NONE) {
    throw std::runtime_error("no package manager request");
  }
  package_manager_request_set_event_cb(
      handle,
      [](int, const char*, const char*, package_manager_event_type_e,
         package_manager_event_state_e state, int, package_manager_error_e, void* data) {
        if (state == PACKAGE_MANAGER_EVENT_STATE_COMPLETED ||
            state == PACKAGE_MANAGER_EVENT_STATE_FAILED) {
          *static_cast<bool*>(data) = true;
        }
      },
      &ended);
  int id = 0;
  const int error = request(handle, &id);
  const bool in_time = error == PACKAGE_MANAGER_ERROR_NONE && RunLoopUntil([&] { return ended; });
  package_manager_request_destroy(handle);
  if (!in_time) throw std::runtime_error("package manager request failed");
}

// Checks the condition between iterations of the main loop.
struct Wait {
  const std::function<bool()>& condition;
  bool met = false;

  static Eina_Bool Ask(void* data) {
    auto* wait = static_cast<Wait*>(data);
    wait->met = wait->condition();
    if (wait->met) ecore_main_loop_quit();
    return wait->met ? ECORE_CALLBACK_CANCEL : ECORE_CALLBACK_RENEW;
  }

  static Eina_Bool GiveUp(void*) {
    ecore_main_loop_quit();
    return ECORE_CALLBACK_CANCEL;
  }
};

}  // namespace

void SetUp() {
  std::string path = (fs::temp_directory_path() / "platform-conformance-XXXXXX").string();
  if (!mkdtemp(path.data())) throw std::runtime_error("no temporary folder: " + path);
  root = path;
  setenv("QOR_PLATFORM_ROOT", path.c_str(), 1);
  ecore_app_no_system_modules();
  ecore_init();
}

void TearDown() {
  ecore_shutdown();
  fs::remove_all(root);
}

void InstallPackage(const Package& package) {
  const std::string folder = WritePackage(package).string();
  RunRequest([&folder](package_manager_request_h request, int* id) {
    return package_manager_request_install(request, folder.c_str(), id);
  });
}

void UninstallPackage(const std::string& package_id) {
  RunRequest([&package_id](package_manager_request_h request, int* id) {
    return package_manager_request_uninstall(request, package_id.c_str(), id);
  });
}

bool RunLoopUntil(const std::function<bool()>& condition) {
  if (condition()) return true;
  Wait wait{condition};
  Ecore_Timer* ask = ecore_timer_add(0.001, Wait::Ask, &wait);
  Ecore_Timer* limit = ecore_timer_add(10.0, Wait::GiveUp, nullptr);
  ecore_main_loop_begin();
  if (!wait.met) {
    ecore_timer_del(ask);
    return false;
  }
  ecore_timer_del(limit);
  return true;
}

}  // namespace conformance
