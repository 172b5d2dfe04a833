// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "check/live-checks.h"

#include <sys/types.h>

#include <cmath>
#include <csignal>
#include <memory>
#include <optional>
#include <vector>

#include "agent/agent.h"
#include "common/timeout-errors.h"
#include "inspect/explanation.h"
#include "platform/linux/common/process-handle.h"

namespace tools::check {

namespace {

constexpr Check::Level kPass = Check::Level::kPass;
constexpr Check::Level kWarn = Check::Level::kWarn;
constexpr Check::Level kFail = Check::Level::kFail;

constexpr char kMoreTimeHint[] =
    "ask for more time before it is up (AskForSeconds(), NegotiateTimeout)";
constexpr char kLogHint[] = "see the log lines (DLOG_FILTER='*:D'), and whether it runs at all";
constexpr std::size_t kLongestShown = 80;

std::string Shown(const Answer& answer) {
  std::string text = answer.text.substr(0, kLongestShown);
  if (text.size() < answer.text.size()) text += "...";
  return text.empty() ? "(nothing)" : text;
}

std::string After(const Answer& answer) {
  return " after " + std::to_string(std::lround(answer.milliseconds)) + " ms";
}

bool IsSame(const Answer& a, const Answer& b) {
  return a.outcome == b.outcome && a.status == b.status && a.text == b.text;
}

// One handler application, from its first launch on.
class Trial {
 public:
  Trial(const inspect::Application& application, std::vector<std::string> types, std::string prefix,
        const LiveOptions& options, std::function<bool()> is_interrupted, const Reporter& report)
      : executable_(platform::FindApplication(application.record.id).value().executable),
        types_(std::move(types)),
        prefix_(std::move(prefix)),
        options_(options),
        is_interrupted_(std::move(is_interrupted)),
        report_(report) {}

  void Run() {
    StartAgent();
    for (const auto& type : types_) {
      if (!TryType(type)) return;
    }
    if (!sample_) {
      for (const char* name : {"agent restart", "handler killed"}) {
        Report(name, kWarn, "not tried: no request type is answered in time",
               "name a payload that is (--payload TYPE=JSON)");
      }
      return;
    }
    if (is_same_again_) {
      Report("again", kPass, "commands that come again are answered the same");
    }
    TryAgentRestart();
    TryKill();
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

  // The one before has ended when the next begins.
  void StartAgent() {
    agent_.reset();
    agent_ = std::make_unique<AgentProcess>(options_.timeouts, is_interrupted_);
  }

  // A second answer comes before those to commands that were sent later.
  void NoteAnsweredTwice() {
    Execute(NewCommand(sample_->command.type));
    answered_twice_.insert(agent_->AnsweredTwice().begin(), agent_->AnsweredTwice().end());
  }

  Command NewCommand(const std::string& type) const {
    const auto payload = options_.payloads.find(type);
    return {tools::NewUuid(), type, payload != options_.payloads.end() ? payload->second : "{}"};
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

  // Why a command has no answer of the handler's.
  Check Trouble(const Answer& answer) const {
    const bool is_alive = !Processes().empty();
    if (answer.outcome == "working") {
      return {
          kWarn, "asked for more time and has no answer yet" + After(answer),
          "name a payload that takes less (--payload TYPE=JSON), or leave it out (--skip TYPE)"};
    }
    if (answer.outcome == "no-answer") {
      return {kFail, "it connects, but does not fetch its commands",
              "set the callback for commands (SetCommandReceivedCb) after every connection"};
    }
    if (answer.outcome != "timeout") return {kFail, answer.text, kLogHint};
    if (common::TimeoutOf(answer.text) == common::Timeout::kConnection) {
      const std::string limit =
          " within " + std::to_string(options_.timeouts.connection_ms) + " ms";
      if (!is_alive) return {kFail, "it ended and did not connect" + limit, kLogHint};
      return {kFail, "it runs, but does not connect" + limit,
              "connect to the port CommandHandler of whoever launches it to fetch commands"};
    }
    if (!is_alive) return {kFail, "it ended while it worked on the command", kLogHint};
    return {kWarn, "no answer within " + std::to_string(options_.timeouts.execution_ms) + " ms",
            kMoreTimeHint};
  }

  void ReportTrouble(const std::string& name, const std::string& when, const Answer& answer) const {
    const Check trouble = Trouble(answer);
    Report(name, trouble.level, when + trouble.message, trouble.hint);
  }

  // False when nothing else can be tried.
  bool TryType(const std::string& type) {
    const Command command = NewCommand(type);
    const Answer answer = Execute(command);
    if (!has_fetched_) {
      // Only its answer, or the lack of one after delivery, says that a handler fetches.
      const bool is_delivered = answer.IsHandlers() || answer.outcome == "working" ||
                                common::TimeoutOf(answer.text) == common::Timeout::kExecution;
      if (!is_delivered) {
        ReportTrouble("connection", "", answer);
        return false;
      }
      has_fetched_ = true;
      Report("connection", kPass, "it connects and fetches its commands");
    }
    if (!answer.IsHandlers()) {
      ReportTrouble(type, "", answer);
      return true;
    }
    CheckAnswer(type, answer);
    TryAgain(command, answer);
    if (!sample_) sample_ = {command, answer};
    return true;
  }

  void CheckAnswer(const std::string& type, const Answer& answer) const {
    const bool is_success = answer.outcome == "success";
    if (!answer.is_json) {
      Report(
          type, kFail,
          std::string(is_success ? "its result" : "its error") + " is not JSON: " + Shown(answer),
          "answer with a JSON text; a mere text stands in double quotes");
    } else if (!is_success && answer.status != 1) {
      Report(type, kWarn,
             "it fails with status " + std::to_string(answer.status) + ": " + Shown(answer),
             "agents know 0, a success, and 1, a failure");
    } else if (answer.text.find(R"("ErrorDomain":"QOR-HANDLER")") != std::string::npos) {
      Report(type, kWarn, "nobody answers it but the SDK: " + Shown(answer),
             "name a function for the type that answers and throws nothing, or remove the type "
             "from the configuration file");
    } else {
      Report(type, kPass,
             (is_success ? "succeeds" : "fails") + After(answer) + ": " + Shown(answer));
    }
  }

  void TryAgain(const Command& command, const Answer& before) {
    const Answer again = Execute(command);
    if (IsSame(again, before)) return;
    is_same_again_ = false;
    ReportDifference(command.type + " again", "", again, before);
  }

  void ReportDifference(const std::string& name, const std::string& when, const Answer& answer,
                        const Answer& before) const {
    const std::string hint =
        "keep the answers by uuid, and give the same one instead of running it twice";
    if (answer.IsHandlers()) {
      Report(name, kFail,
             when + "a command that comes again is answered with " + Shown(answer) +
                 ", before with " + Shown(before),
             hint);
    } else if (Trouble(answer).level == kWarn) {
      Report(name, kWarn, when + "a command that comes again is not answered", hint);
    } else {
      ReportTrouble(name, when, answer);
    }
  }

  // The new agent sends two commands at once, so that the handler is asked twice to fetch.
  void TryAgentRestart() {
    constexpr char kName[] = "agent restart";
    NoteAnsweredTwice();
    StartAgent();
    const Command fresh = NewCommand(sample_->command.type);
    agent_->Send(sample_->command);
    agent_->Send(fresh);
    const Answer again = agent_->Await(sample_->command.uuid);
    const Answer answer = agent_->Await(fresh.uuid);
    if (!IsSame(again, sample_->answer)) {
      ReportDifference(kName, "after it: ", again, sample_->answer);
    } else if (!answer.IsHandlers()) {
      ReportTrouble(kName, "after it: ", answer);
    } else {
      Report(kName, kPass, "it connects again" + After(again));
    }
  }

  // It stands still when it gets the command, so it cannot have answered before it ends.
  void TryKill() {
    constexpr char kName[] = "handler killed";
    Signal(SIGSTOP);
    const Command command = NewCommand(sample_->command.type);
    agent_->Send(command);
    Signal(SIGKILL);
    const Answer end = agent_->Await(command.uuid);
    const Answer next = Execute(NewCommand(sample_->command.type));
    if (end.outcome != "timeout") {
      Report(kName, kFail, "the agent gets no timeout, but: " + end.outcome + " " + Shown(end),
             "let one process alone serve the commands");
    } else if (!next.IsHandlers()) {
      ReportTrouble(kName, "launched anew: ", next);
    } else {
      Report(kName, kPass, "the agent gets a timeout, and the next command launches it anew");
    }
  }

  void ReportAnsweredTwice() {
    NoteAnsweredTwice();
    if (answered_twice_.empty()) {
      Report("once", kPass, "no command was answered twice");
    } else {
      Report("once", kFail,
             std::to_string(answered_twice_.size()) + " commands were answered more than once",
             "pass over a command whose uuid is being worked on");
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
  bool is_same_again_ = true;
  std::optional<Sample> sample_;  // a command that is answered in time
  std::set<std::string> answered_twice_;
};

}  // namespace

void CheckAlive(const inspect::Package& package, const LiveOptions& options,
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
    Trial(application, types, prefix, options, is_interrupted, report).Run();
  }
}

}  // namespace tools::check
