// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that restarts the device: it requests the time to close everything and answers before
// the restart. The restart itself is only simulated.

#include <Ecore.h>
#include <dlog.h>
#include <qor/handler.h>

#include <memory>

namespace {

constexpr double kSecondsToAskFor = 60;
constexpr double kSecondsToClose = 0.5;

void Reboot(const qor::Command& command) {
  if (!command.AskForSeconds(kSecondsToAskFor)) {
    command.Fail(R"({"ErrorCode":1,"ErrorDescription":"there is no time to reboot"})");
    return;
  }
  ecore_timer_add(
      kSecondsToClose,
      [](void* data) -> Eina_Bool {
        const std::unique_ptr<qor::Command> closed(static_cast<qor::Command*>(data));
        // After this returns the answer is stored and sent, so the process may be killed.
        closed->Succeed(R"({"state":"rebooting"})");
        dlog_print(DLOG_INFO, "REBOOT-HANDLER", "this is where the device would restart");
        return ECORE_CALLBACK_CANCEL;
      },
      new qor::Command(command));
}

}  // namespace

int main(int argc, char** argv) {
  qor::Handler handler;
  handler.On("device.reboot", Reboot);
  return handler.Run(argc, argv);
}
