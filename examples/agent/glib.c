/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* A durable agent on the main loop of GLib: submits a command and prints its outcome.
 *
 *   example-agent-glib JOURNAL REQUEST_TYPE PAYLOAD
 */

#include <glib.h>
#include <qor_agent.h>
#include <stdio.h>
#include <string.h>
#include <time.h>

static qor_agent_h agent;
static char uuid[37];
static int steps;
static int error;
static GMainLoop* loop;

static void on_outcome(const qor_agent_outcome_s* outcome, void* user_data) {
  (void)user_data;
  printf("%s: %s%s\n", outcome->request_type, outcome->result, outcome->error);
  qor_agent_confirm(agent, outcome->uuid);
  if (strcmp(outcome->uuid, uuid) == 0) g_main_loop_quit(loop);
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
  if (error != 0) g_main_loop_quit(loop);
}

/* The program's own timer: submits the command, then prints how often the agent has worked. */
static gboolean on_tick(gpointer argv) {
  if (*uuid == '\0')
    submit(argv);
  else
    printf("%d steps\n", steps);
  if (error != 0) g_main_loop_quit(loop);
  return G_SOURCE_CONTINUE;
}

typedef struct {
  GSource base;
  gpointer descriptor;
} AgentSource;

static gboolean prepare(GSource* source, gint* timeout) {
  (void)source;
  *timeout = qor_agent_loop_timeout(agent);
  return *timeout == 0;
}

static gboolean check(GSource* source) {
  return g_source_query_unix_fd(source, ((AgentSource*)source)->descriptor) != 0 ||
         qor_agent_loop_timeout(agent) == 0;
}

static gboolean dispatch(GSource* source, GSourceFunc callback, gpointer data) {
  (void)source;
  (void)callback;
  (void)data;
  step();
  return G_SOURCE_CONTINUE;
}

static void run(char** argv) {
  static GSourceFuncs functions = {.prepare = prepare, .check = check, .dispatch = dispatch};
  GSource* const source = g_source_new(&functions, sizeof(AgentSource));
  ((AgentSource*)source)->descriptor =
      g_source_add_unix_fd(source, qor_agent_loop_fd(agent), G_IO_IN);
  g_source_attach(source, NULL);
  g_timeout_add(50, on_tick, argv);
  loop = g_main_loop_new(NULL, FALSE);
  g_main_loop_run(loop);
  g_main_loop_unref(loop);
  g_source_destroy(source);
  g_source_unref(source);
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
