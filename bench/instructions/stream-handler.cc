// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Answers the commands of command-stream. Stores no answers, so that only the command flow itself
// is counted.

#include <qor/handler.h>

int main(int argc, char** argv) {
  qor::AnswerLimits none;
  none.count = 0;
  qor::Handler handler;
  handler.KeepAnswers(none).On(
      "text.echo", [](const qor::Command& command) { command.Succeed(command.Payload()); });
  return handler.Run(argc, argv);
}
