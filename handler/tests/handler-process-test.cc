// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// SDK handlers as installed applications, with agents that start and stop.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <sstream>
#include <string>
#include <thread>

#include "agent-port.h"
#include "application-processes.h"
#include "base/run-until.h"
#include "end-to-end/end-to-end-test.h"

namespace qor {
namespace {

namespace fs = std::filesystem;
using end_to_end::kTimeoutSeconds;

class HandlerProcess : public end_to_end::EndToEndTest {
 protected:
  HandlerProcess() {
    Install("probe");
    mkfifo(Pipe().c_str(), 0600);
  }

  std::string DataFolder() const { return Root() + "/data/org.example.probe.handler"; }
  static bool IsGone() { return test::IsGone("org.example.probe.handler"); }
  // The uuids of the commands that the handler has run, one per line.
  std::string Runs() const {
    std::ifstream file(DataFolder() + "/runs");
    return std::string(std::istreambuf_iterator<char>(file), {});
  }

  static std::set<std::string> AnsweredUuids(const support::PlainAgent& agent) {
    std::set<std::string> uuids;
    for (const auto& response : agent.Responses()) uuids.insert(response.uuid);
    return uuids;
  }
  // Returns when the handler has sent 20 answers that the agent has not read. While the agent's
  // loop does not run, the handler gets that far ahead unless it is awaiting a single ack.
  void AwaitUnreadAnswers(const support::PlainAgent& agent, std::size_t count_sent) const {
    const auto is_far_ahead = [&] {
      const std::string runs = Runs();
      const auto count = std::count(runs.begin(), runs.end(), '\n');
      return static_cast<std::size_t>(count) >= agent.Responses().size() + 20;
    };
    for (;;) {
      const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(200);
      while (std::chrono::steady_clock::now() < deadline) {
        if (is_far_ahead()) return;
        std::this_thread::yield();
      }
      const std::size_t read = agent.Responses().size();
      ASSERT_LT(read, count_sent);
      ASSERT_TRUE(
          tools::RunUntil([&] { return agent.Responses().size() > read; }, kTimeoutSeconds));
    }
  }

  std::string Pipe() const { return Root() + "/pipe"; }
  // Makes "probe.wait" answer with a text. The command must be in flight.
  void Release(const std::string& text) const { std::ofstream(Pipe()) << text; }

  // Starts an agent that records extension requests.
  support::PlainAgent& StartRecordingAgent() {
    auto& agent = StartAgent();
    agent.SetNegotiator([this](const std::string&, const std::string& uuid, double) {
      extension_requests_ += uuid + " ";
      return grants_extensions_;
    });
    return agent;
  }
  // Sends a command that is in flight until Release().
  void SendWaiting(support::PlainAgent& agent, const std::string& uuid) {
    ASSERT_EQ(agent.Send(uuid, "probe.wait", Pipe()), 0);
    ASSERT_TRUE(
        tools::RunUntil([&] { return extension_requests_ == uuid + " "; }, kTimeoutSeconds));
  }

  // Runs another agent, which sends "probe.agent" as command-1.
  tools::ProcessResult RunSecondAgent() {
    const std::string second = Root() + "/second-agent";
    fs::copy_file(BuildFolder() + "/tests/crash/one-shot-agent", second);
    return tools::RunProcess({second, "command-1", "probe.agent"}, kTimeoutSeconds);
  }

  std::string extension_requests_;
  bool grants_extensions_ = true;
};

TEST_F(HandlerProcess, AnswersFromAThread) {
  auto& agent = StartRecordingAgent();
  SendWaiting(agent, "one");
  Release("done");
  EXPECT_EQ(AwaitResponse("one").result, "done");
}

TEST_F(HandlerProcess, ReceivesTheReplyToAnExtensionRequest) {
  StartRecordingAgent();
  EXPECT_EQ(Execute("one", "probe.ask").result, "granted granted");
  grants_extensions_ = false;
  EXPECT_EQ(Execute("two", "probe.ask").result, "denied denied");
  EXPECT_EQ(extension_requests_, "one one two two ");
}

TEST_F(HandlerProcess, ReconnectsToARestartedAgentAndSendsPendingAnswers) {
  SendWaiting(StartRecordingAgent(), "one");
  StopAgent();
  // Only the handler's own retries reconnect the two.
  StartAgent();
  Release("late");
  EXPECT_EQ(AwaitResponse("one").result, "late");
  EXPECT_EQ(Runs(), "one\n");
}

TEST_F(HandlerProcess, KeepsAnswerUntilTheAgentRestarts) {
  SendWaiting(StartRecordingAgent(), "one");
  StopAgent();
  Release("kept");
  StartAgent();
  EXPECT_EQ(AwaitResponse("one").result, "kept");
}

TEST_F(HandlerProcess, IgnoresRedeliveryWhileInFlight) {
  SendWaiting(StartRecordingAgent(), "one");
  StopAgent();
  auto& agent = StartAgent();
  ASSERT_EQ(agent.Send("one", "probe.wait", Pipe()), 0);
  // Deliveries are ordered, so the handler has seen the first one.
  EXPECT_EQ(Execute("two", "probe.run").result, "2");
  Release("once");
  EXPECT_EQ(AwaitResponse("one").result, "once");
  EXPECT_EQ(Runs(), "one\ntwo\n");
}

TEST_F(HandlerProcess, ResendsStoredAnswerToACommandSentAgain) {
  StartAgent();
  EXPECT_EQ(Execute("one", "probe.run").result, "1");
  StopAgent();
  StartAgent();
  EXPECT_EQ(Execute("one", "probe.run").result, "1");
  EXPECT_EQ(Runs(), "one\n");
}

TEST_F(HandlerProcess, ResendsUnackedAnswersWhenTheAgentStopsAmongMany) {
  constexpr std::size_t kCount = 300;
  auto& agent = StartAgent();
  for (std::size_t i = 0; i < kCount; ++i) {
    ASSERT_EQ(agent.Send("many-" + std::to_string(i), "probe.run", ""), 0);
  }
  ASSERT_TRUE(
      tools::RunUntil([&] { return agent.Responses().size() >= kCount / 3; }, kTimeoutSeconds));
  ASSERT_NO_FATAL_FAILURE(AwaitUnreadAnswers(agent, kCount));
  std::set<std::string> answered = AnsweredUuids(agent);
  StopAgent();
  // The new agent sends no commands.
  auto& again = StartAgent();
  EXPECT_TRUE(tools::RunUntil(
      [&] {
        answered.merge(AnsweredUuids(again));
        std::istringstream runs(Runs());
        return std::all_of(std::istream_iterator<std::string>(runs), {},
                           [&](const std::string& uuid) { return answered.count(uuid) != 0; });
      },
      kTimeoutSeconds));
  EXPECT_GT(answered.size(), kCount / 3);
}

TEST_F(HandlerProcess, RequestsExtensionsAmongManyAnswers) {
  auto& agent = StartRecordingAgent();
  // Acks of answers are true, so a mixed-up reply would show.
  grants_extensions_ = false;
  // Enough commands for batched acks.
  for (int i = 0; i < 200; ++i) {
    ASSERT_EQ(agent.Send("run-" + std::to_string(i), "probe.run", ""), 0);
    ASSERT_EQ(agent.Send("ask-" + std::to_string(i), "probe.ask", ""), 0);
  }
  for (int i = 0; i < 200; ++i) {
    EXPECT_EQ(AwaitResponse("ask-" + std::to_string(i)).result, "denied denied");
    EXPECT_EQ(AwaitResponse("run-" + std::to_string(i)).status, QOR_REQUEST_STATUS_SUCCESS);
  }
}

TEST_F(HandlerProcess, ResendsStoredAnswerAfterAKill) {
  auto& agent = StartAgent();
  EXPECT_EQ(Execute("one", "probe.run").result, "1");
  ASSERT_EQ(agent.Send("die", "probe.die", ""), 0);
  ASSERT_TRUE(tools::RunUntil([this] { return Runs() == "one\ndie\n"; }, kTimeoutSeconds));
  ASSERT_TRUE(tools::RunUntil([] { return IsGone(); }, kTimeoutSeconds));
  StopAgent();
  auto& again = StartAgent();
  again.Send("one", "probe.run", "");
  EXPECT_EQ(AwaitResponse("one").result, "1");
  EXPECT_EQ(Runs(), "one\ndie\n");
}

TEST_F(HandlerProcess, RerunsTheCommandInFlightAtAKill) {
  auto& agent = StartAgent();
  ASSERT_EQ(agent.Send("one", "probe.die-once", ""), 0);
  ASSERT_TRUE(tools::RunUntil([this] { return Runs() == "one\n"; }, kTimeoutSeconds));
  ASSERT_TRUE(tools::RunUntil([] { return IsGone(); }, kTimeoutSeconds));
  StopAgent();
  StartAgent();
  EXPECT_EQ(Execute("one", "probe.die-once").result, "2");
  EXPECT_EQ(Runs(), "one\none\n");
}

TEST_F(HandlerProcess, ServesSeveralAgentsAtOnce) {
  auto& agent = StartRecordingAgent();
  SendWaiting(agent, "command-1");
  // The same uuid from another agent.
  const auto run = RunSecondAgent();
  EXPECT_EQ(run.output, "host.second-agent\n") << run.errors;
  Release("first");
  EXPECT_EQ(AwaitResponse("command-1").result, "first");
}

TEST_F(HandlerProcess, ConnectsToTheConfiguredAgentWhicheverAgentLaunchesIt) {
  setenv("PROBE_AGENT", "host.qor_handler_process_test", 1);
  const test::AgentPort port;
  const auto run = RunSecondAgent();
  unsetenv("PROBE_AGENT");
  EXPECT_EQ(run.output, "host.second-agent\n") << run.errors;
  EXPECT_TRUE(tools::RunUntil([&] { return port.CountReceived() == 1; }, kTimeoutSeconds));
  EXPECT_EQ(port.Connected(), "org.example.probe.handler ");
}

TEST_F(HandlerProcess, ReconnectsWithGrowingDelaysToAnAgentThatAcknowledgesNothing) {
  const std::string log = Root() + "/log";
  setenv("DLOG_FILE", log.c_str(), 1);
  setenv("DLOG_FILTER", "QOR-HANDLER:I *:S", 1);
  SendWaiting(StartRecordingAgent(), "one");
  unsetenv("DLOG_FILE");
  unsetenv("DLOG_FILTER");
  StopAgent();
  const test::AgentPort port(test::AgentPort::OnResult::kClose);
  Release("unread");
  EXPECT_TRUE(tools::RunUntil(
      [&] {
        std::ifstream file(log);
        const std::string lines(std::istreambuf_iterator<char>(file), {});
        return lines.find("in 0.8 s") != std::string::npos;
      },
      kTimeoutSeconds));
}

TEST_F(HandlerProcess, ReplacesDamagedAnswerFile) {
  fs::create_directories(DataFolder());
  std::ofstream(DataFolder() + "/.qor-answers.db") << std::string(5000, 'x');
  StartAgent();
  EXPECT_EQ(Execute("one", "probe.run").result, "1");
  EXPECT_TRUE(fs::exists(DataFolder() + "/.qor-answers.db.corrupt"));
}

TEST_F(HandlerProcess, RunsWithoutAWritableAnswerFile) {
  fs::create_directories(DataFolder() + "/.qor-answers.db");
  StartAgent();
  EXPECT_EQ(Execute("one", "probe.run").result, "1");
  EXPECT_EQ(Execute("two", "probe.run").result, "2");
}

TEST_F(HandlerProcess, FailsToRunWhenNotLaunchedByThePlatform) {
  const auto run = tools::RunProcess({Packages() + "/probe/bin/probe-handler"}, kTimeoutSeconds);
  EXPECT_NE(run.exit_status, 0);
  EXPECT_NE(run.errors.find("cannot run the handler"), std::string::npos) << run.errors;
}

}  // namespace
}  // namespace qor
