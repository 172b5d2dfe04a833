// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <CLI/CLI.hpp>

#include <iostream>
#include <memory>
#include <string>

#include "agent/agent.h"
#include "commands.h"
#include "exit-codes.h"
#include "identity.h"

namespace qor {

namespace {

struct Options {
  std::string type;
  std::string payload;
  std::string uuid = tools::NewUuid();
  int execution_timeout_ms = 3000;
  int connection_timeout_ms = 5000;
};

int ReportRefusal(const Options& options, int error) {
  switch (error) {
    case QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND:
      std::cerr << "qor: no handler serves " << options.type << "\n";
      return kNotSupported;
    case QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL:
      std::cerr << "qor: the handler of " << options.type << " could not be launched\n";
      return kLaunchRefused;
    default:
      std::cerr << "qor: " << options.type << " was not accepted: error " << error << "\n";
      return kError;
  }
}

int Report(const tools::Agent::Response& response) {
  if (response.status == QOR_REQUEST_STATUS_SUCCESS) {
    std::cout << response.result << "\n";
    return kSuccess;
  }
  std::cerr << "qor: status " << response.status << ": " << response.error << "\n";
  return tools::IsTimeout(response) ? kTimeout : kHandlerFailed;
}

int Send(const Options& options) {
  TakeIdentity();
  tools::Agent agent(options.execution_timeout_ms, options.connection_timeout_ms);
  const int error = agent.Send(options.uuid, options.type, options.payload);
  if (error != 0) return ReportRefusal(options, error);
  // A handler that connects and never asks for its commands has no timeout of its own.
  constexpr double kMillisecondsPerSecond = 1000;
  constexpr double kGraceSeconds = 2;
  double limit = kGraceSeconds + (options.execution_timeout_ms + options.connection_timeout_ms) /
                                     kMillisecondsPerSecond;
  agent.SetNegotiator([&limit](const std::string&, const std::string&, double seconds) {
    limit += seconds;
    return true;
  });
  const tools::Agent::Response* response = nullptr;
  for (double waited = 0; response == nullptr && waited < limit;) {
    const double step = limit - waited;
    response = agent.WaitForResponse(options.uuid, step);
    waited += step;
  }
  if (response == nullptr) {
    std::cerr << "qor: no answer: the handler connected, but did not ask for its commands\n";
    return kTimeout;
  }
  return Report(*response);
}

}  // namespace

void AddSendCommand(CLI::App& app, Choice& choice) {
  const auto options = std::make_shared<Options>();
  CLI::App* send = app.add_subcommand("send", "Send one command and print its result");
  send->footer(
      "Example:\n"
      "  qor send text.upper '\"hello\"'");
  send->add_option("TYPE", options->type, "Request type")->required();
  send->add_option("PAYLOAD", options->payload, "JSON payload");
  send->add_option("--uuid", options->uuid, "Command uuid (default: a random one)");
  send->add_option("--execution-timeout", options->execution_timeout_ms,
                   "Milliseconds for the handler to answer")
      ->capture_default_str();
  send->add_option("--connection-timeout", options->connection_timeout_ms,
                   "Milliseconds for a launched handler to connect")
      ->capture_default_str();
  send->callback([options, &choice] { choice.run = [options] { return Send(*options); }; });
}

}  // namespace qor
