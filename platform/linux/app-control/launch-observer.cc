// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/app-control/launch-observer.h"

#include <tizen.h>

#include <algorithm>
#include <vector>

#include "platform/linux/app-control/launcher.h"
#include "platform/linux/app-control/process-observers.h"
#include "platform/linux/common/c-boundary.h"

namespace {

constexpr platform::CBoundary kBoundary(platform::kLaunchLogTag, [](const std::exception&) -> int {
  return TIZEN_ERROR_UNKNOWN;
});

struct Observer {
  qor_platform_process_end_cb callback;
  void* user_data;
};

bool operator==(const Observer& a, const Observer& b) {
  return a.callback == b.callback && a.user_data == b.user_data;
}

std::vector<Observer>& Observers() {
  // Never destroyed: destructors of static objects may remove their observers.
  static auto* const observers = new std::vector<Observer>;
  return *observers;
}

qor_platform_process_end_e KindOf(platform::ProcessEnd::Kind kind) {
  switch (kind) {
    case platform::ProcessEnd::Kind::kExited:
      return QOR_PLATFORM_PROCESS_EXITED;
    case platform::ProcessEnd::Kind::kKilled:
      return QOR_PLATFORM_PROCESS_KILLED;
    case platform::ProcessEnd::Kind::kNotStarted:
      return QOR_PLATFORM_PROCESS_NOT_STARTED;
    case platform::ProcessEnd::Kind::kUnknown:
      break;
  }
  return QOR_PLATFORM_PROCESS_UNKNOWN;
}

}  // namespace

namespace platform {

void NotifyProcessObservers(const std::string& app_id, const ProcessEnd& end) {
  const std::string text = Describe(end);
  const bool is_killed = end.kind == ProcessEnd::Kind::kKilled;
  const qor_platform_process_end_s passed = {KindOf(end.kind),           is_killed ? 0 : end.number,
                                             is_killed ? end.number : 0, end.dumped_core ? 1 : 0,
                                             end.has_connected ? 1 : 0,  text.c_str()};
  // A copy, without those that are removed meanwhile: a callback may add and remove observers.
  for (const Observer& observer : std::vector<Observer>(Observers())) {
    const auto& current = Observers();
    if (std::find(current.begin(), current.end(), observer) != current.end())
      observer.callback(app_id.c_str(), end.pid, &passed, observer.user_data);
  }
}

}  // namespace platform

EXPORT_API int qor_platform_add_process_end_cb(qor_platform_process_end_cb callback,
                                               void* user_data) {
  if (callback == nullptr) return TIZEN_ERROR_INVALID_PARAMETER;
  return kBoundary.Run([=]() -> int {
    Observers().push_back({callback, user_data});
    return TIZEN_ERROR_NONE;
  });
}

EXPORT_API void qor_platform_remove_process_end_cb(qor_platform_process_end_cb callback,
                                                   void* user_data) {
  std::vector<Observer>& observers = Observers();
  const Observer removed{callback, user_data};
  observers.erase(std::remove(observers.begin(), observers.end(), removed), observers.end());
}
