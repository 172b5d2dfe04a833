/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* An agent in plain C: sends one command and prints its outcome.
 *
 *   agent REQUEST_TYPE [PAYLOAD]
 */

#include <Ecore.h>
#include <qor_handler_manager.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

/* Longer than both timeouts together. Needed, because not every command has a timeout. */
static const double deadline_seconds = 10;

static int exit_status = 1;

static void on_response(const char* uuid, qor_request_status_e status, const char* result,
                        int result_len, const char* error, int error_len, void* user_data) {
  (void)user_data;
  if (status == QOR_REQUEST_STATUS_SUCCESS) {
    printf("%s: %.*s\n", uuid, result_len, result);
    exit_status = 0;
  } else {
    printf("%s failed (%d): %.*s\n", uuid, (int)status, error_len, error);
  }
  ecore_main_loop_quit();
}

static Eina_Bool on_deadline(void* user_data) {
  (void)user_data;
  fprintf(stderr, "no response within %g s\n", deadline_seconds);
  ecore_main_loop_quit();
  return ECORE_CALLBACK_CANCEL;
}

int main(int argc, char** argv) {
  const char* payload = argc > 2 ? argv[2] : NULL;
  int error;
  if (argc < 2 || argc > 3) {
    fprintf(stderr, "usage: %s REQUEST_TYPE [PAYLOAD]\n", argv[0]);
    return 2;
  }
  ecore_init();
  qor_handler_manager_set_response_cb(on_response, NULL);
  error = qor_handler_manager_send_command("command-1", argv[1], payload,
                                           payload != NULL ? (int)strlen(payload) : 0, time(NULL));
  if (error == 0) {
    ecore_timer_add(deadline_seconds, on_deadline, NULL);
    ecore_main_loop_begin();
  } else {
    fprintf(stderr, "cannot send %s: error %d\n", argv[1], error);
  }
  qor_handler_manager_shutdown();
  ecore_shutdown();
  return exit_status;
}
