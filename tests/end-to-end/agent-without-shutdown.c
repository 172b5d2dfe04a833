/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* Exits without shutting the library down: a command has a running timer, a handler is connected, and
 * Ecore is shut down before static objects are destroyed.
 *
 *   agent-without-shutdown [thread]    with "thread": runs in a second thread, which exits first
 */

#include <Ecore.h>
#include <pthread.h>
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

/* Returns its argument, or null on failure. */
static void* run(void* success) {
  ecore_init();
  qor_handler_manager_set_response_cb(on_response, NULL);
  if (qor_handler_manager_send_command("answered", "text.echo", "1", 1, 0) != 0) return NULL;
  ecore_main_loop_begin();
  if (qor_handler_manager_send_command("pending", "text.forget", NULL, 0, 0) != 0) return NULL;
  ecore_shutdown();
  return success;
}

int main(int argc, char** argv) {
  void* success = argv;
  pthread_t thread;
  if (argc == 1) return run(success) == success ? 0 : 1;
  if (pthread_create(&thread, NULL, run, success) != 0) return 1;
  if (pthread_join(thread, &success) != 0) return 1;
  return success == argv ? 0 : 1;
}
