// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <Ecore.h>
#include <package_manager.h>

#include <memory>

#include "platform/linux/package-manager/errors.h"
#include "platform/linux/package-manager/event-listener.h"

struct package_manager_s {
  std::shared_ptr<platform::Subscription> subscription = std::make_shared<platform::Subscription>();
};

namespace {

using platform::EventListener;
using platform::kPackageManagerBoundary;

// Runs `body` on the main loop's thread and waits for its end. If Ecore has not been initialized,
// the calling thread becomes the main loop's thread.
template <typename Body>
int OnMainLoop(const Body& body) {
  struct Call {
    const Body& body;
    int result;
  } call{body, PACKAGE_MANAGER_ERROR_NONE};
  const auto run = [](void* data) -> void* {
    auto* asked = static_cast<Call*>(data);
    asked->result = kPackageManagerBoundary.Run([=]() -> int {
      asked->body();
      return PACKAGE_MANAGER_ERROR_NONE;
    });
    return nullptr;
  };
  if (ecore_init() == 0) return PACKAGE_MANAGER_ERROR_SYSTEM_ERROR;
  ecore_main_loop_thread_safe_call_sync(run, &call);
  ecore_shutdown();
  return call.result;
}

// Adds or removes the subscription. As on devices, events are delivered only when both the status
// and the callback are set.
void Refresh(const std::shared_ptr<platform::Subscription>& subscription) {
  if (subscription->has_status && subscription->callback != nullptr) {
    EventListener::Instance().Add(subscription);
  } else {
    EventListener::Instance().Remove(subscription);
  }
}

}  // namespace

EXPORT_API int package_manager_create(package_manager_h* manager) {
  if (manager == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return kPackageManagerBoundary.Run([=]() -> int {
    *manager = new package_manager_s;
    return PACKAGE_MANAGER_ERROR_NONE;
  });
}

EXPORT_API int package_manager_destroy(package_manager_h manager) {
  if (manager == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  const int result = package_manager_unset_event_cb(manager);
  delete manager;
  return result;
}

EXPORT_API int package_manager_set_event_status(package_manager_h manager, int status_type) {
  if (manager == nullptr || status_type < 0) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return OnMainLoop([subscription = manager->subscription, status_type] {
    subscription->has_status = true;
    subscription->status = status_type;
    Refresh(subscription);
  });
}

EXPORT_API int package_manager_set_event_cb(package_manager_h manager,
                                            package_manager_event_cb callback, void* user_data) {
  if (manager == nullptr || callback == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  return OnMainLoop([subscription = manager->subscription, callback, user_data] {
    subscription->callback = callback;
    subscription->user_data = user_data;
    Refresh(subscription);
  });
}

EXPORT_API int package_manager_unset_event_cb(package_manager_h manager) {
  if (manager == nullptr) return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  if (manager->subscription->callback == nullptr) return PACKAGE_MANAGER_ERROR_NONE;
  return OnMainLoop([subscription = manager->subscription] {
    subscription->callback = nullptr;
    Refresh(subscription);
  });
}
