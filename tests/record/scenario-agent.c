/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* Sends commands and prints their responses; exits with status 7.
 *
 *   scenario-agent outcomes       one command for each outcome; no negotiation callback
 *   scenario-agent refuse         refuses the extension that a handler requests
 *   scenario-agent no-callbacks   sets no callback
 *   scenario-agent crash          waits until the handler has exited
 *   scenario-agent restart        sends, shuts the library down, and repeats both
 *   scenario-agent threads        sends rejected commands from several threads
 */

#include <Ecore.h>
#include <pthread.h>
#include <qor_handler_manager.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include "platform/linux/app-control/launch-observer.h"

enum { EXECUTION_MS = 400, CONNECTION_MS = 1500, THREADS = 8, SENDS = 100 };

static int awaited = 0;

static void on_response(const char* uuid, qor_request_status_e status, const char* result,
                        int result_len, const char* error, int error_len, void* user_data) {
  printf("%s %s: %d %d %.*s %d %.*s\n", (const char*)user_data, uuid, (int)status, result_len,
         result_len, result, error_len, error_len, error);
  if (--awaited == 0) ecore_main_loop_quit();
}

static int refuse(const char* handler_id, const char* uuid, double seconds, void* user_data) {
  printf("%s asks %s for %.1f s for %s\n", handler_id, (const char*)user_data, seconds, uuid);
  return 1;
}

static void on_process_end(const char* app_id, pid_t pid, const qor_platform_process_end_s* end,
                           void* user_data) {
  (void)app_id;
  (void)pid;
  (void)end;
  (void)user_data;
  ecore_main_loop_quit();
}

static void configure(void) {
  qor_handler_manager_configuration_h config = NULL;
  qor_handler_manager_configuration_create(&config);
  qor_handler_manager_configuration_set_command_execution_timeout(config, EXECUTION_MS);
  qor_handler_manager_configuration_set_connection_timeout(config, CONNECTION_MS);
  qor_handler_manager_initialize(config);
  qor_handler_manager_configuration_destroy(config);
}

/* Sends a command and waits for the given number of responses. */
static void send(const char* uuid, const char* type, const char* payload, int responses) {
  const int code =
      qor_handler_manager_send_command(uuid, type, payload, (int)strlen(payload), 1234);
  if (code != 0) printf("%s: rejected with %d\n", uuid, code);
  if (code != 0 || responses == 0) return;
  awaited = responses;
  ecore_main_loop_begin();
}

static void run_outcomes(void) {
  qor_handler_manager_set_response_cb(on_response, "agent");
  send("success", "text.upper", "\"a\"", 1);
  send("failure", "text.reject", "", 1);
  send("extended", "text.slow", "0.6", 1);
  send("late", "text.delay", "0.6", 2);
  send("unconnected", "silence.keep", "", 1);
  send("unknown", "no.such.type", "", 0);
  send("dropped", "text.forget", "", 0);
}

static void* send_invalid(void* unused) {
  (void)unused;
  for (int i = 0; i < SENDS; ++i) qor_handler_manager_send_command("u", NULL, NULL, 0, 0);
  return NULL;
}

static void threads(void) {
  pthread_t running[THREADS];
  for (int i = 0; i < THREADS; ++i) pthread_create(&running[i], NULL, send_invalid, NULL);
  for (int i = 0; i < THREADS; ++i) pthread_join(running[i], NULL);
}

int main(int argc, char** argv) {
  const char* scenario = argc == 2 ? argv[1] : "";
  ecore_init();
  configure();
  if (strcmp(scenario, "outcomes") == 0) {
    run_outcomes();
  } else if (strcmp(scenario, "refuse") == 0) {
    qor_handler_manager_set_response_cb(on_response, "agent");
    qor_handler_manager_set_negotiate_request_cb(refuse, "agent");
    send("extended", "text.slow", "0.6", 1);
  } else if (strcmp(scenario, "no-callbacks") == 0) {
    send("unobserved", "text.upper", "\"a\"", 0);
    /* Only the connection shows the end of this command: the handler crashes. */
    send("crash", "text.crash", "", 0);
    ecore_timer_add((double)EXECUTION_MS / 1000.0 * 3, (Ecore_Task_Cb)ecore_main_loop_quit, NULL);
    ecore_main_loop_begin();
  } else if (strcmp(scenario, "crash") == 0) {
    qor_platform_add_process_end_cb(on_process_end, NULL);
    send("crash", "text.crash", "", 0);
    ecore_main_loop_begin();
  } else if (strcmp(scenario, "restart") == 0) {
    for (int i = 0; i < 2; ++i) {
      qor_handler_manager_set_response_cb(on_response, "agent");
      send(i == 0 ? "first" : "second", "text.slow", "0.1", 1);
      qor_handler_manager_shutdown();
    }
  } else if (strcmp(scenario, "threads") == 0) {
    threads();
  }
  qor_handler_manager_shutdown();
  ecore_shutdown();
  /* Handlers inherit this environment. */
  const char* preload = getenv("LD_PRELOAD");
  printf("environment: %s %s\n", preload != NULL ? preload : "no preload",
         getenv("QOR_RECORD_FILE") != NULL ? "recorded" : "not recorded");
  return 7;
}
