/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* Leaves everything behind: commands with running timers, a connected handler, the library up, and
   the main loop's library shut down before static objects are destroyed. */

#include <Ecore.h>
#include <qor_handler_manager.h>

static void on_response(const char* uuid, qor_request_status_e status, const char* result,
                        int result_len, const char* error, int error_len, void* user_data) {
  (void)uuid;
  (void)status;
  (void)result;
  (void)result_len;
  (void)error;
  (void)error_len;
  (void)user_data;
  ecore_main_loop_quit();
}

int main(void) {
  ecore_init();
  qor_handler_manager_set_response_cb(on_response, NULL);
  if (qor_handler_manager_send_command("answered", "text.echo", "1", 1, 0) != 0) return 1;
  ecore_main_loop_begin();
  if (qor_handler_manager_send_command("pending", "text.forget", NULL, 0, 0) != 0) return 1;
  ecore_shutdown();
  return 0;
}
