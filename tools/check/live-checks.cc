// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "check/live-checks.h"

#include <qor/agent.h>
#include <sys/types.h>

#include <cmath>
#include <csignal>
#include <memory>
#include <optional>
#include <vector>

#include "common/timeout-errors.h"
#include "inspect/explanation.h"
#include "platform/linux/common/process-handle.h"

namespace tools::check {

namespace {

constexpr Check::Level kPass = Check::Level::kPass;
constexpr Check::Level kWarn = Check::Level::kWarn;
constexpr Check::Level kFail = Check::Level::kFail;

constexpr char kMoreTimeHint[] =
    "request more time before the timeout (AskForSeconds(), NegotiateTimeout)";
constexpr char kLogHint[] = "check its log (DLOG_FILTER='*:D'), and that the executable runs";
constexpr char kOutputHint[] =
    "install the package: \"qor logs\" prints the output of its processes";
constexpr std::size_t kMaxShownSize = 80;

std::string Shown(const Answer& answer) {
  std::string text = answer.text.substr(0, kMaxShownSize);
  if (text.size() < answer.text.size()) text += "...";
  return text.empty() ? "(nothing)" : text;
}

std::string After(const Answer& answer) {
  return " after " + std::to_string(std::lround(answer.latency.count())) + " ms";
}

bool IsSame(const Answer& a, const Answer& b) {
  return a.kind == b.kind && a.status == b.status && a.text == b.text;
}

// Checks one handler application, from its first launch.
class HandlerCheck {
 public:
  HandlerCheck(const inspect::Application& application, std::vector<std::string> types,
               std::string prefix, const LiveOptions& options, std::function<bool()> is_interrupted,
               const Reporter& report)
      : executable_(platform::FindApplication(application.record.id).value().executable),
        types_(std::move(types)),
        prefix_(std::move(prefix)),
        options_(options),
        is_interrupted_(std::move(is_interrupted)),
        report_(report) {}

  void Run() {
    StartAgent();
    for (const auto& type : types_) {
      if (!CheckType(type)) return;
    }
    if (!sample_) {
      for (const char* name : {"agent restart", "handler killed"}) {
        Report(name, kWarn, "skipped: no request type is answered in time",
               "use a payload with a fast answer (--payload TYPE=JSON)");
      }
      return;
    }
    if (is_repeatable_) {
      Report("again", kPass, "repeated commands get the same answer");
    }
    CheckAgentRestart();
    CheckKill();
    ReportAnsweredTwice();
  }

 private:
  struct Sample {
    Command command;
    Answer answer;
  };

  void Report(const std::string& name, Check::Level level, const std::string& message,
              const std::string& hint = "") const {
    Check check{level, message, hint};
    check.name = prefix_ + name;
    report_(check);
  }

  // Ends the previous agent first.
  void StartAgent() {
    agent_.reset();
    agent_ = std::make_unique<AgentProcess>(options_.timeouts, is_interrupted_);
  }

  // A second answer precedes the answers to later commands, so one more command flushes it.
  void CollectAnsweredTwice() {
    Execute(NewCommand(sample_->command.type));
    answered_twice_.insert(agent_->AnsweredTwice().begin(), agent_->AnsweredTwice().end());
  }

  Command NewCommand(const std::string& type) const {
    const auto payload = options_.payloads.find(type);
    return {qor::Agent::NewUuid(), type,
            payload != options_.payloads.end() ? payload->second : "{}"};
  }

  Answer Execute(const Command& command) {
    agent_->Send(command);
    return agent_->Await(command.uuid);
  }

  std::vector<pid_t> Processes() const {
    return platform::FindProcesses(
        [this](const platform::Executable& executable) { return executable.path == executable_; });
  }

  void Signal(int signal) const {
    for (const pid_t process : Processes()) kill(process, signal);
  }

  // Explains why a command has no answer from the handler.
  Check Diagnose(const Answer& answer) const {
    const bool is_alive = !Processes().empty();
    if (answer.kind == Answer::Kind::kWorking) {
      return {kWarn, "requested more time, no answer" + After(answer),
              "use a payload that takes less time (--payload TYPE=JSON), or --skip TYPE"};
    }
    if (answer.kind == Answer::Kind::kNotFetched) {
      return {kFail, "connects but does not fetch its commands",
              "set the callback for commands (SetCommandReceivedCb) after every connection"};
    }
    if (answer.kind == Answer::Kind::kEnded)
      return {kFail, answer.text + ", before it connected", kOutputHint};
    if (answer.kind != Answer::Kind::kTimeout) return {kFail, answer.text, kLogHint};
    if (common::TimeoutOf(answer.text) == common::Timeout::kConnection) {
      const std::string limit =
          " within " + std::to_string(options_.timeouts.connection.count()) + " ms";
      if (!is_alive) return {kFail, "exited and did not connect" + limit, kLogHint};
      return {kFail, "runs but does not connect" + limit,
              "connect to the port CommandHandler of the launching application"};
    }
    if (!is_alive) return {kFail, "exited while executing the command", kLogHint};
    return {kWarn,
            "no answer within " + std::to_string(options_.timeouts.execution.count()) + " ms",
            kMoreTimeHint};
  }

  void ReportNoAnswer(const std::string& name, const std::string& when,
                      const Answer& answer) const {
    const Check problem = Diagnose(answer);
    Report(name, problem.level, when + problem.message, problem.hint);
  }

  // Returns false when the handler does not fetch commands.
  bool CheckType(const std::string& type) {
    const Command command = NewCommand(type);
    const Answer answer = Execute(command);
    if (!has_fetched_) {
      // A handler is known to fetch when it answers, or when its command expires after delivery.
      const bool is_delivered = answer.IsFromHandler() || answer.kind == Answer::Kind::kWorking ||
                                common::TimeoutOf(answer.text) == common::Timeout::kExecution;
      if (!is_delivered) {
        ReportNoAnswer("connection", "", answer);
        return false;
      }
      has_fetched_ = true;
      Report("connection", kPass, "connects and fetches its commands");
    }
    if (!answer.IsFromHandler()) {
      ReportNoAnswer(type, "", answer);
      return true;
    }
    CheckAnswer(type, answer);
    CheckRepeated(command, answer);
    if (!sample_) sample_ = {command, answer};
    return true;
  }

  void CheckAnswer(const std::string& type, const Answer& answer) const {
    const bool is_success = answer.kind == Answer::Kind::kSucceeded;
    if (!answer.is_json) {
      Report(type, kFail,
             std::string(is_success ? "result" : "error") + " is not JSON: " + Shown(answer),
             "return JSON; a plain text must be in double quotes");
    } else if (!is_success && answer.status != 1) {
      Report(type, kWarn,
             "fails with status " + std::to_string(answer.status) + ": " + Shown(answer),
             "use 0 for success and 1 for failure");
    } else if (answer.text.find(R"("ErrorDomain":"QOR-HANDLER")") != std::string::npos) {
      Report(type, kWarn, "answered by the SDK, not by the handler: " + Shown(answer),
             "add a function for the type that answers and does not throw, or remove the type "
             "from the configuration file");
    } else {
      Report(type, kPass,
             (is_success ? "succeeds" : "fails") + After(answer) + ": " + Shown(answer));
    }
  }

  void CheckRepeated(const Command& command, const Answer& before) {
    const Answer again = Execute(command);
    if (IsSame(again, before)) return;
    is_repeatable_ = false;
    ReportDifference(command.type + " again", "", again, before);
  }

  void ReportDifference(const std::string& name, const std::string& when, const Answer& answer,
                        const Answer& before) const {
    const std::string hint =
        "store answers by uuid, and return the stored answer for a repeated command";
    if (answer.IsFromHandler()) {
      Report(name, kFail,
             when + "repeated command answered with " + Shown(answer) + ", before with " +
                 Shown(before),
             hint);
    } else if (Diagnose(answer).level == kWarn) {
      Report(name, kWarn, when + "repeated command not answered", hint);
    } else {
      ReportNoAnswer(name, when, answer);
    }
  }

  // The new agent sends two commands at once, so that the handler has to fetch twice.
  void CheckAgentRestart() {
    constexpr char kName[] = "agent restart";
    CollectAnsweredTwice();
    StartAgent();
    const Command fresh = NewCommand(sample_->command.type);
    agent_->Send(sample_->command);
    agent_->Send(fresh);
    const Answer again = agent_->Await(sample_->command.uuid);
    const Answer answer = agent_->Await(fresh.uuid);
    if (!IsSame(again, sample_->answer)) {
      ReportDifference(kName, "after the restart: ", again, sample_->answer);
    } else if (!answer.IsFromHandler()) {
      ReportNoAnswer(kName, "after the restart: ", answer);
    } else {
      Report(kName, kPass, "reconnects" + After(again));
    }
  }

  // Stopped before the command is sent, the handler cannot answer before it is killed.
  void CheckKill() {
    constexpr char kName[] = "handler killed";
    Signal(SIGSTOP);
    const Command command = NewCommand(sample_->command.type);
    agent_->Send(command);
    Signal(SIGKILL);
    const Answer end = agent_->Await(command.uuid);
    const Answer next = Execute(NewCommand(sample_->command.type));
    if (end.kind != Answer::Kind::kTimeout) {
      Report(kName, kFail,
             "expected a timeout, got: " + (end.IsFromHandler() ? Shown(end) : "no answer"),
             "serve the commands from one process only");
    } else if (!next.IsFromHandler()) {
      ReportNoAnswer(kName, "after a new launch: ", next);
    } else {
      Report(kName, kPass, "timeout for the pending command, the next command launches it again");
    }
  }

  void ReportAnsweredTwice() {
    CollectAnsweredTwice();
    if (answered_twice_.empty()) {
      Report("once", kPass, "no command answered more than once");
    } else {
      Report("once", kFail,
             std::to_string(answered_twice_.size()) + " commands answered more than once",
             "ignore a command whose uuid is being executed");
    }
  }

  const std::string executable_;
  const std::vector<std::string> types_;
  const std::string prefix_;
  const LiveOptions& options_;
  const std::function<bool()> is_interrupted_;
  const Reporter& report_;
  std::unique_ptr<AgentProcess> agent_;
  bool has_fetched_ = false;
  bool is_repeatable_ = true;
  std::optional<Sample> sample_;  // a command with an answer in time
  std::set<std::string> answered_twice_;
};

}  // namespace

void RunLiveChecks(const inspect::Package& package, const LiveOptions& options,
                   const std::function<bool()>& is_interrupted, const Reporter& report) {
  for (const auto& application : package.applications) {
    std::vector<std::string> types;
    for (const auto& type : application.request_types) {
      const auto server = inspect::Explain({package}, type).candidates.front().record.id;
      if (server == application.record.id && options.skipped.count(type) == 0) {
        types.push_back(type);
      }
    }
    if (types.empty()) continue;
    const std::string prefix =
        package.applications.size() > 1 ? application.record.id + " " : std::string();
    HandlerCheck(application, types, prefix, options, is_interrupted, report).Run();
  }
}

}  // namespace tools::check
