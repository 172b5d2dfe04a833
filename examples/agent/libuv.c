/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* A durable agent on the loop of libuv: submits a command and prints its outcome.
 *
 *   example-agent-libuv JOURNAL REQUEST_TYPE PAYLOAD
 */

#include <qor_agent.h>
#include <stdio.h>
#include <string.h>
#include <time.h>
#include <uv.h>

static qor_agent_h agent;
static char uuid[37];
static int steps;
static int error;
static uv_loop_t loop;
static uv_poll_t readable;
static uv_timer_t due;
static uv_prepare_t before_wait;
static uv_timer_t ticks;

static void close_handle(uv_handle_t* handle, void* data) {
  (void)data;
  if (!uv_is_closing(handle)) uv_close(handle, NULL);
}

/* The loop ends when it has no open handles. */
static void quit(void) { uv_walk(&loop, close_handle, NULL); }

static void on_outcome(const qor_agent_outcome_s* outcome, void* user_data) {
  (void)user_data;
  printf("%s: %s%s\n", outcome->request_type, outcome->result, outcome->error);
  qor_agent_confirm(agent, outcome->uuid);
  if (strcmp(outcome->uuid, uuid) == 0) quit();
}

static void submit(char** argv) {
  qor_agent_command_s command = QOR_AGENT_COMMAND_INIT;
  error = qor_agent_new_uuid(uuid);
  command.uuid = uuid;
  command.request_type = argv[2];
  command.payload = argv[3];
  command.deadline_ms = ((int64_t)time(NULL) + 60) * 1000;
  command.waits_for_handler = true;
  if (error == 0) error = qor_agent_submit(agent, &command);
  if (error == 0) printf("submitted %s\n", uuid);
}

static void step(void) {
  ++steps;
  error = qor_agent_loop_step(agent);
  if (error != 0) quit();
}

/* The program's own timer: submits the command, then prints how often the agent has worked. */
static void on_tick(uv_timer_t* timer) {
  if (*uuid == '\0')
    submit(timer->data);
  else
    printf("%d steps\n", steps);
  if (error != 0) quit();
}

static void on_readable(uv_poll_t* handle, int status, int events) {
  (void)handle;
  (void)status;
  (void)events;
  step();
}

static void on_due(uv_timer_t* timer) {
  (void)timer;
  step();
}

static void on_before_wait(uv_prepare_t* handle) {
  const int timeout = qor_agent_loop_timeout(agent);
  (void)handle;
  if (timeout < 0)
    uv_timer_stop(&due);
  else
    uv_timer_start(&due, on_due, (uint64_t)timeout, 0);
}

static void run(char** argv) {
  uv_loop_init(&loop);
  uv_poll_init(&loop, &readable, qor_agent_loop_fd(agent));
  uv_poll_start(&readable, UV_READABLE, on_readable);
  uv_timer_init(&loop, &due);
  uv_prepare_init(&loop, &before_wait);
  uv_prepare_start(&before_wait, on_before_wait);
  uv_timer_init(&loop, &ticks);
  ticks.data = argv;
  uv_timer_start(&ticks, on_tick, 50, 50);
  uv_run(&loop, UV_RUN_DEFAULT);
  uv_loop_close(&loop);
}

int main(int argc, char** argv) {
  qor_agent_settings_s settings = QOR_AGENT_SETTINGS_INIT;
  if (argc != 4) {
    fprintf(stderr, "usage: %s JOURNAL REQUEST_TYPE PAYLOAD\n", argv[0]);
    return 2;
  }
  setlinebuf(stdout);
  settings.journal = argv[1];
  settings.on_outcome = on_outcome;
  error = qor_agent_open(&settings, &agent);
  if (error == 0) run(argv);
  qor_agent_close(agent);
  if (error != 0) fprintf(stderr, "%s\n", qor_agent_error_text(error));
  return error == 0 ? 0 : 1;
}
