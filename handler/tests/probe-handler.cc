// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler for tests. Appends the uuid of each command that it runs to the file "runs" in its data
// folder.

#include <app_common.h>
#include <qor/handler.h>
#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <memory>
#include <string>
#include <thread>

namespace {

std::string RunsFile() {
  const std::unique_ptr<char, decltype(&std::free)> folder(app_get_data_path(), std::free);
  return std::string(folder.get()) + "runs";
}

int CountRuns() {
  std::ifstream file(RunsFile());
  return static_cast<int>(std::count(std::istreambuf_iterator<char>(file), {}, '\n'));
}

// Answers with the number of runs so far.
void Run(const qor::Command& command) { command.Succeed(std::to_string(CountRuns())); }

// In a thread: requests an extension, then answers with the text read from the pipe that the
// payload names.
void Wait(const qor::Command& command) {
  std::thread([command] {
    command.AskForSeconds(60);
    std::ifstream pipe(command.Payload());
    command.Succeed(std::string(std::istreambuf_iterator<char>(pipe), {}));
  }).detach();
}

// Requests extensions on the main loop's thread and on another one.
void Ask(const qor::Command& command) {
  const bool here = command.AskForSeconds(1);
  std::thread([command, here] {
    const bool there = command.AskForSeconds(2);
    command.Succeed(std::string(here ? "granted" : "denied") + (there ? " granted" : " denied"));
  }).detach();
}

void TellAgent(const qor::Command& command) { command.Succeed(command.Agent()); }

void Die(const qor::Command&) { kill(getpid(), SIGKILL); }

void DieOnce(const qor::Command& command) {
  if (CountRuns() == 1) Die(command);
  Run(command);
}

}  // namespace

int main(int argc, char** argv) {
  qor::Handler handler;
  if (const char* agent = std::getenv("PROBE_AGENT")) handler.SetAgent(agent);
  const auto on = [&handler](const char* type, void (*function)(const qor::Command&),
                             qor::Policy policy = qor::Policy::kAtLeastOnce) {
    const auto run = [function](const qor::Command& command) {
      std::ofstream(RunsFile(), std::ios::app) << command.Uuid() << '\n';
      function(command);
    };
    handler.On(type, run, policy);
  };
  on("probe.run", Run);
  on("probe.wait", Wait);
  on("probe.wait-once", Wait, qor::Policy::kAtMostOnce);
  on("probe.ask", Ask);
  on("probe.agent", TellAgent);
  on("probe.die", Die);
  on("probe.die-once", DieOnce);
  return handler.Run(argc, argv);
}
