#include <Ecore.h>
#include <qor_handler_manager.h>
#include <stdio.h>

static void on_response(const char* uuid, qor_request_status_e status, const char* result,
                        int result_len, const char* error, int error_len, void* user_data) {
  (void)user_data;
  printf("%s: %d %.*s%.*s\n", uuid, (int)status, result_len, result, error_len, error);
  ecore_main_loop_quit();
}

int main(void) {
  ecore_init();
  qor_handler_manager_set_response_cb(on_response, NULL);
  if (qor_handler_manager_send_command("command-1", "text.upper", "\"hello\"", 7, 0) == 0)
    ecore_main_loop_begin();
  qor_handler_manager_shutdown();
  ecore_shutdown();
  return 0;
}
