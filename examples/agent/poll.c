/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

/* A durable agent on poll(): submits a command and prints its outcome.
 *
 *   example-agent-poll JOURNAL REQUEST_TYPE PAYLOAD
 */

#include <poll.h>
#include <qor_agent.h>
#include <stdio.h>
#include <string.h>
#include <sys/timerfd.h>
#include <time.h>
#include <unistd.h>

static qor_agent_h agent;
static char uuid[37];
static int steps;
static int error;
static bool is_done;

static void on_outcome(const qor_agent_outcome_s* outcome, void* user_data) {
  (void)user_data;
  printf("%s: %s%s\n", outcome->request_type, outcome->result, outcome->error);
  qor_agent_confirm(agent, outcome->uuid);
  if (strcmp(outcome->uuid, uuid) == 0) is_done = true;
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
}

/* The program's own timer: submits the command, then prints how often the agent has worked. */
static void on_tick(int timer, char** argv) {
  uint64_t expirations;
  if (read(timer, &expirations, sizeof expirations) < 0) return;
  if (*uuid == '\0')
    submit(argv);
  else
    printf("%d steps\n", steps);
}

static void run(char** argv) {
  const struct itimerspec every_50_ms = {{0, 50000000}, {0, 50000000}};
  struct pollfd waits[2] = {{qor_agent_loop_fd(agent), POLLIN, 0},
                            {timerfd_create(CLOCK_MONOTONIC, 0), POLLIN, 0}};
  timerfd_settime(waits[1].fd, 0, &every_50_ms, NULL);
  while (!is_done && error == 0) {
    if (poll(waits, 2, qor_agent_loop_timeout(agent)) < 0) continue; /* a signal */
    if (waits[0].revents != 0 || qor_agent_loop_timeout(agent) == 0) step();
    if (waits[1].revents != 0 && error == 0) on_tick(waits[1].fd, argv);
  }
  close(waits[1].fd);
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
