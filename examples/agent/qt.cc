// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A durable agent on the event loop of Qt: submits a command and prints its outcome.
//
//   example-agent-qt JOURNAL REQUEST_TYPE PAYLOAD

#include <qor/agent.h>

#include <QAbstractEventDispatcher>
#include <QCoreApplication>
#include <QSocketNotifier>
#include <QTimer>
#include <chrono>
#include <exception>
#include <iostream>
#include <optional>
#include <string>

namespace {

class Program {
 public:
  explicit Program(char** argv) : argv_(argv) {
    qor::Agent::Settings settings;
    settings.journal = argv[1];
    settings.on_outcome = [this](const qor::Agent::Outcome& outcome) { OnOutcome(outcome); };
    agent_.emplace(settings);
    readable_.emplace(agent_->LoopFd(), QSocketNotifier::Read);
    due_.setSingleShot(true);
    due_.setTimerType(Qt::PreciseTimer);
    const auto step = [this] { Guard(&Program::Step); };
    QObject::connect(&*readable_, &QSocketNotifier::activated, step);
    QObject::connect(&due_, &QTimer::timeout, step);
    QObject::connect(QAbstractEventDispatcher::instance(), &QAbstractEventDispatcher::aboutToBlock,
                     &due_, [this] { OnBeforeWait(); });
    QObject::connect(&ticks_, &QTimer::timeout, [this] { Guard(&Program::OnTick); });
    ticks_.start(std::chrono::milliseconds(50));
  }

 private:
  // Nothing may be thrown through Qt.
  void Guard(void (Program::*action)()) {
    try {
      (this->*action)();
    } catch (const std::exception& error) {
      std::cerr << error.what() << '\n';
      QCoreApplication::exit(1);
    }
  }

  void Step() {
    ++steps_;
    agent_->LoopStep();
  }

  void OnBeforeWait() {
    const int timeout = agent_->LoopTimeoutMs();
    if (timeout < 0) {
      due_.stop();
    } else {
      due_.start(timeout);
    }
  }

  // The program's own timer: submits the command, then prints how often the agent has worked.
  void OnTick() {
    if (!uuid_.empty()) {
      std::cout << steps_ << " steps" << std::endl;
      return;
    }
    qor::Agent::Command command;
    command.type = argv_[2];
    command.payload = argv_[3];
    command.deadline = std::chrono::system_clock::now() + std::chrono::minutes(1);
    command.waits_for_handler = true;
    uuid_ = agent_->Submit(command);
    std::cout << "submitted " << uuid_ << std::endl;
  }

  void OnOutcome(const qor::Agent::Outcome& outcome) {
    std::cout << outcome.type << ": " << outcome.result << outcome.error << std::endl;
    agent_->Confirm(outcome.uuid);
    if (outcome.uuid == uuid_) QCoreApplication::quit();
  }

  char** const argv_;
  std::optional<qor::Agent> agent_;
  std::optional<QSocketNotifier> readable_;
  QTimer due_;
  QTimer ticks_;
  std::string uuid_;
  int steps_ = 0;
};

}  // namespace

int main(int argc, char** argv) {
  if (argc != 4) {
    std::cerr << "usage: " << argv[0] << " JOURNAL REQUEST_TYPE PAYLOAD\n";
    return 2;
  }
  const QCoreApplication application(argc, argv);
  try {
    const Program program(argv);
    return QCoreApplication::exec();
  } catch (const std::exception& error) {
    std::cerr << error.what() << '\n';
    return 1;
  }
}
