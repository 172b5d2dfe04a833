/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* An agent on the library's own C interface: sends one command and prints the response.
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

static const char* request_type;

/* Handlers identify commands by their uuid, which is therefore never used again. */
static int make_uuid(char uuid[37]) {
  FILE* const file = fopen("/proc/sys/kernel/random/uuid", "r");
  const int is_made = file != NULL && fgets(uuid, 37, file) != NULL;
  if (file != NULL) fclose(file);
  return is_made;
}

static void on_response(const char* uuid, qor_request_status_e status, const char* result,
                        int result_len, const char* error, int error_len, void* user_data) {
  (void)uuid;
  (void)user_data;
  if (status == QOR_REQUEST_STATUS_SUCCESS) {
    printf("%s: %.*s\n", request_type, result_len, result);
    exit_status = 0;
  } else {
    printf("%s failed (%d): %.*s\n", request_type, (int)status, error_len, error);
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
  char uuid[37];
  int error;
  if (argc < 2 || argc > 3) {
    fprintf(stderr, "usage: %s REQUEST_TYPE [PAYLOAD]\n", argv[0]);
    return 2;
  }
  request_type = argv[1];
  if (!make_uuid(uuid)) {
    perror("cannot make a uuid");
    return 1;
  }
  ecore_init();
  qor_handler_manager_set_response_cb(on_response, NULL);
  error = qor_handler_manager_send_command(uuid, request_type, payload,
                                           payload != NULL ? (int)strlen(payload) : 0, time(NULL));
  if (error == 0) {
    ecore_timer_add(deadline_seconds, on_deadline, NULL);
    ecore_main_loop_begin();
  } else {
    fprintf(stderr, "cannot send %s: error %d\n", request_type, error);
  }
  qor_handler_manager_shutdown();
  ecore_shutdown();
  return exit_status;
}
