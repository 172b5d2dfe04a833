/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* An agent that loads the library with dlopen() instead of linking with it.
 *
 *   dlopen-agent LIBRARY
 */

#include <Ecore.h>
#include <dlfcn.h>
#include <qor_handler_manager.h>
#include <stdio.h>

static void on_response(const char* uuid, qor_request_status_e status, const char* result,
                        int result_len, const char* error, int error_len, void* user_data) {
  (void)status;
  (void)error;
  (void)error_len;
  (void)user_data;
  printf("%s: %.*s\n", uuid, result_len, result);
  ecore_main_loop_quit();
}

/* Generic function pointer type; callers cast to the real one. */
typedef void (*function)(void);

static function find(void* library, const char* name) {
  function found = NULL;
  *(void**)&found = dlsym(library, name);
  return found;
}

int main(int argc, char** argv) {
  void* library = argc == 2 ? dlopen(argv[1], RTLD_NOW | RTLD_LOCAL) : NULL;
  if (library == NULL) return 1;
  int (*set_response_cb)(qor_handler_manager_response_cb, void*) = (int (*)(
      qor_handler_manager_response_cb, void*))find(library, "qor_handler_manager_set_response_cb");
  int (*send_command)(const char*, const char*, const char*, int, time_t) =
      (int (*)(const char*, const char*, const char*, int, time_t))find(
          library, "qor_handler_manager_send_command");
  int (*shut_down)(void) = (int (*)(void))find(library, "qor_handler_manager_shutdown");
  ecore_init();
  set_response_cb(on_response, NULL);
  if (send_command("loaded", "text.upper", "\"a\"", 3, 0) != 0) return 1;
  ecore_main_loop_begin();
  shut_down();
  ecore_shutdown();
  return 0;
}
