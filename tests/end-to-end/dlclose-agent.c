/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* Unloads the library while a timer without an owner is pending: four commands are delivered
 * together, the third is granted more time, the first is answered, and the second's timer expires the
 * third, which has moved to its position. Then the loop runs past the third's timer.
 *
 *   dlclose-agent LIBRARY
 *
 * Exits with 0; or with 1 on an unexpected result before that. */

#include <Ecore.h>
#include <dlfcn.h>
#include <qor_handler_manager.h>
#include <stdlib.h>
#include <string.h>

#define EXECUTION_TIMEOUT_MS 800
/* Sent as the payload of "text.slow", which asks for twice as long. */
#define SLOW_SECONDS 2.0
#define SLOW_PAYLOAD "2"

static int third_timed_out = 0;

static void on_response(const char* uuid, qor_request_status_e status, const char* result,
                        int result_len, const char* error, int error_len, void* user_data) {
  (void)result;
  (void)result_len;
  (void)error;
  (void)error_len;
  (void)user_data;
  if (strcmp(uuid, "first") == 0) return;
  third_timed_out = strcmp(uuid, "third") == 0 && status == QOR_REQUEST_STATUS_FAILED;
  ecore_main_loop_quit();
}

static Eina_Bool quit(void* data) {
  (void)data;
  ecore_main_loop_quit();
  return ECORE_CALLBACK_CANCEL;
}

static void* find(void* library, const char* name) {
  void* found = dlsym(library, name);
  if (found == NULL) abort();
  return found;
}

int main(int argc, char** argv) {
  static const char* const commands[][3] = {{"first", "text.delay", "0.1"},
                                            {"second", "text.forget", "0"},
                                            {"third", "text.slow", SLOW_PAYLOAD},
                                            {"fourth", "text.forget", "0"}};
  int (*configuration_create)(qor_handler_manager_configuration_h*);
  int (*set_execution_timeout)(qor_handler_manager_configuration_h, int);
  int (*initialize)(qor_handler_manager_configuration_h);
  int (*configuration_destroy)(qor_handler_manager_configuration_h);
  int (*set_response_cb)(qor_handler_manager_response_cb, void*);
  int (*send_command)(const char*, const char*, const char*, int, time_t);
  int (*shut_down)(void);
  void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
  qor_handler_manager_configuration_h config = NULL;
  if (library == NULL) return 1;
  *(void**)&configuration_create = find(library, "qor_handler_manager_configuration_create");
  *(void**)&set_execution_timeout =
      find(library, "qor_handler_manager_configuration_set_command_execution_timeout");
  *(void**)&initialize = find(library, "qor_handler_manager_initialize");
  *(void**)&configuration_destroy = find(library, "qor_handler_manager_configuration_destroy");
  *(void**)&set_response_cb = find(library, "qor_handler_manager_set_response_cb");
  *(void**)&send_command = find(library, "qor_handler_manager_send_command");
  *(void**)&shut_down = find(library, "qor_handler_manager_shutdown");

  ecore_init();
  configuration_create(&config);
  set_execution_timeout(config, EXECUTION_TIMEOUT_MS);
  initialize(config);
  configuration_destroy(config);
  set_response_cb(on_response, NULL);
  for (size_t i = 0; i < sizeof(commands) / sizeof(commands[0]); ++i) {
    const char* payload = commands[i][2];
    if (send_command(commands[i][0], commands[i][1], payload, (int)strlen(payload), 0) != 0)
      return 1;
  }
  ecore_main_loop_begin();
  shut_down();
  dlclose(library);
  if (!third_timed_out || dlopen(argv[1], RTLD_NOW | RTLD_NOLOAD) != NULL) return 1;
  ecore_timer_add(2 * SLOW_SECONDS, quit, NULL);
  ecore_main_loop_begin();
  ecore_shutdown();
  return 0;
}
