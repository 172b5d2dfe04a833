// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "base/stop-signals.h"

#include <csignal>

namespace tools {

StopSignals::StopSignals()
    : handler_(ecore_event_handler_add(
          ECORE_EVENT_SIGNAL_EXIT,
          [](void* self, int, void* event) -> Eina_Bool {
            const auto* exit = static_cast<Ecore_Event_Signal_Exit*>(event);
            int& caught = static_cast<StopSignals*>(self)->caught_;
            if (caught == 0) caught = exit->interrupt ? SIGINT : SIGTERM;
            return ECORE_CALLBACK_DONE;
          },
          this)) {}

StopSignals::~StopSignals() { ecore_event_handler_del(handler_); }

}  // namespace tools
