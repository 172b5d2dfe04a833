// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <cstdlib>
#include <fstream>
#include <iterator>

#include "common/timeout-errors.h"
#include "end-to-end-test.h"

namespace end_to_end {
namespace {

class Commands : public EndToEndTest {};

constexpr int kShortMs = 1000;

TEST_F(Commands, LaunchTheHandlerAndReturnItsAnswer) {
  Install("text");
  StartAgent();
  const auto response = Execute("one", "text.upper", R"("hello")");
  EXPECT_EQ(response.status, QOR_REQUEST_STATUS_SUCCESS);
  EXPECT_EQ(response.result, R"({"text":"HELLO","by":"org.example.text.handler"})");
  EXPECT_EQ(response.error, "");
}

TEST_F(Commands, AreDeliveredInOrderWhenSentDuringStartUp) {
  Install("text");
  auto& agent = StartAgent();
  for (const char* uuid : {"first", "second", "third"}) {
    ASSERT_EQ(agent.Send(uuid, "text.echo", uuid), 0);
  }
  AwaitResponse("third");
  ASSERT_EQ(agent.Responses().size(), 3u);
  EXPECT_EQ(agent.Responses()[0].result, "first");
  EXPECT_EQ(agent.Responses()[1].result, "second");
  EXPECT_EQ(agent.Responses()[2].result, "third");
}

TEST_F(Commands, ReachAConnectedHandlerRepeatedly) {
  Install("text");
  StartAgent();
  for (int i = 0; i < 100; ++i) {
    const std::string payload = "\"" + std::to_string(i) + "\"";
    EXPECT_EQ(Execute("command-" + std::to_string(i), "text.echo", payload).result, payload);
  }
}

TEST_F(Commands, CarryLargePayloadsAndResults) {
  Install("text");
  StartAgent();
  const std::string payload(3 * 1024 * 1024, 'p');
  EXPECT_EQ(Execute("large", "text.echo", payload).result, payload);
}

TEST_F(Commands, AreLoggedWhenTheyExceedTheFrameLimit) {
  Install("text");
  setenv("DLOG_FILE", (Root() + "/log").c_str(), 1);
  StartAgent(kShortMs);
  EXPECT_TRUE(support::IsTimeout(Execute("large", "text.echo", std::string(5 << 20, 'p'))));
  unsetenv("DLOG_FILE");
  std::ifstream log(Root() + "/log");
  const std::string lines(std::istreambuf_iterator<char>(log), {});
  EXPECT_NE(lines.find("cannot write 5242881 bytes: parcel limit of 4193280 bytes exceeded"),
            std::string::npos)
      << lines;
}

TEST_F(Commands, ReturnTheErrorTextOfTheHandler) {
  Install("text");
  StartAgent();
  const auto response = Execute("one", "text.reject");
  EXPECT_EQ(response.status, QOR_REQUEST_STATUS_FAILED);
  EXPECT_EQ(response.result, "");
  EXPECT_EQ(response.error, R"({"ErrorCode":42,"ErrorDescription":"this handler refuses"})");
}

TEST_F(Commands, AreExtendedWhenTheClientGrantsIt) {
  Install("text");
  auto& agent = StartAgent(2000);
  std::string asked;
  agent.SetNegotiator(
      [&asked](const std::string& handler, const std::string& uuid, double seconds) {
        asked = handler + " " + uuid + " " + std::to_string(static_cast<int>(seconds));
        return true;
      });
  const auto response = Execute("one", "text.slow", "3");
  EXPECT_EQ(response.status, QOR_REQUEST_STATUS_SUCCESS) << response.error;
  EXPECT_EQ(asked, "org.example.text.handler one 6");
}

TEST_F(Commands, NotifyTheHandlerWhenAnExtensionIsRefused) {
  Install("text");
  auto& agent = StartAgent();
  agent.SetNegotiator([](const std::string&, const std::string&, double) { return false; });
  const auto response = Execute("one", "text.slow", "3");
  EXPECT_EQ(response.error, R"({"ErrorDescription":"no more time was granted"})");
}

TEST_F(Commands, EndWithTheExecutionTimeoutWhenTheHandlerDoesNotAnswer) {
  Install("text");
  StartAgent(kShortMs);
  const auto response = Execute("one", "text.forget");
  EXPECT_EQ(response.status, QOR_REQUEST_STATUS_FAILED);
  EXPECT_EQ(response.error, common::kExecutionTimeoutError);
}

TEST_F(Commands, EndWithTheConnectionTimeoutWhenTheHandlerNeverConnects) {
  Install("silent");
  StartAgent(60'000, kShortMs);
  const auto response = Execute("one", "silence.keep");
  EXPECT_EQ(response.status, QOR_REQUEST_STATUS_FAILED);
  EXPECT_EQ(response.error, common::kConnectionTimeoutError);
}

TEST_F(Commands, ReportLateAnswersAfterTheTimeout) {
  Install("text");
  auto& agent = StartAgent(kShortMs);
  ASSERT_EQ(agent.Send("one", "text.delay", "2"), 0);
  const auto count = [&agent] {
    int found = 0;
    for (const auto& response : agent.Responses()) found += response.uuid == "one" ? 1 : 0;
    return found;
  };
  ASSERT_TRUE(tools::RunUntil([&] { return count() == 2; }, kTimeoutSeconds));
  const auto& responses = agent.Responses();
  EXPECT_TRUE(support::IsTimeout(responses[responses.size() - 2]));
  EXPECT_EQ(responses.back().status, QOR_REQUEST_STATUS_SUCCESS);
}

TEST_F(Commands, FailWhenTheHandlerRequestsNanSeconds) {
  Install("text");
  auto& agent = StartAgent();
  ASSERT_EQ(agent.Send("not finite", "text.delay", "nan"), 0);
  const auto* response = agent.WaitForResponse("not finite", kTimeoutSeconds);
  ASSERT_NE(response, nullptr);
  EXPECT_EQ(response->status, QOR_REQUEST_STATUS_FAILED);
  EXPECT_NE(response->error.find("not a number of seconds"), std::string::npos) << response->error;
}

TEST_F(Commands, AreRejectedForAnUnsupportedType) {
  Install("text");
  auto& agent = StartAgent();
  EXPECT_EQ(agent.Send("one", "no.such.type", ""), QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND);
  EXPECT_TRUE(agent.Responses().empty());
}

TEST_F(Commands, AreRejectedWithAPendingUuid) {
  Install("text");
  auto& agent = StartAgent();
  ASSERT_EQ(agent.Send("one", "text.echo", "first"), 0);
  EXPECT_EQ(agent.Send("one", "text.echo", "second"), QOR_HANDLER_MANAGER_ERROR_UNKNOWN);
  EXPECT_EQ(AwaitResponse("one").result, "first");
}

TEST_F(Commands, TimeOutWhenTheHandlerCrashesAndTheNextLaunchesIt) {
  Install("text");
  auto& agent = StartAgent(1000);
  ASSERT_EQ(Execute("warm-up", "text.echo", "x").status, QOR_REQUEST_STATUS_SUCCESS);
  EXPECT_TRUE(support::IsTimeout(Execute("killer", "text.crash")));
  EXPECT_EQ(Execute("next", "text.echo", "alive").result, "alive");
  EXPECT_EQ(agent.Responses().size(), 3u);
}

TEST_F(Commands, ReachARunningHandlerAfterARestartOfTheAgent) {
  Install("text");
  StartAgent();
  ASSERT_EQ(Execute("one", "text.echo", "x").status, QOR_REQUEST_STATUS_SUCCESS);
  StopAgent();
  StartAgent();
  EXPECT_EQ(Execute("two", "text.echo", "y").result, "y");
}

TEST_F(Commands, CanBeSentByAnAgentInPlainC) {
  Install("text");
  const auto run = tools::RunProcess(
      {BuildFolder() + "/examples/example-agent", "text.upper", R"("plain c")"}, kTimeoutSeconds);
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output, "text.upper: {\"text\":\"PLAIN C\",\"by\":\"org.example.text.handler\"}\n");
}

void ExpectSilentExit(const std::vector<std::string>& command) {
  const auto run = tools::RunProcess(command, kTimeoutSeconds);
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.errors, "");
}

TEST_F(Commands, MayBePendingWhenTheAgentExitsWithoutShutdown) {
  Install("text");
  ExpectSilentExit({BuildFolder() + "/tests/end-to-end/agent-without-shutdown"});
}

TEST_F(Commands, MayBePendingAfterTheExitOfTheMainLoopsThread) {
  Install("text");
  ExpectSilentExit({BuildFolder() + "/tests/end-to-end/agent-without-shutdown", "thread"});
}

TEST_F(Commands, LeaveNoTimerInAnUnloadedLibrary) {
  Install("text");
  const auto run = tools::RunProcess(
      {BuildFolder() + "/tests/end-to-end/dlclose-agent", QOR_LIBRARY}, kTimeoutSeconds);
  EXPECT_EQ(run.exit_status, 0) << run.errors;
}

}  // namespace
}  // namespace end_to_end
