// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// `qor agent --journal`: commands and outcomes that outlive the agent's process.

#include <gmock/gmock.h>
#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <iterator>

#include "end-to-end-test.h"
#include "live-process.h"

namespace end_to_end {
namespace {

using testing::HasSubstr;
using testing::Not;

class AgentJournal : public EndToEndTest {
 protected:
  static std::string Tool() { return BuildFolder() + "/tools/qor/qor"; }
  std::string Journal() const { return Root() + "/journal.db"; }
  std::vector<std::string> Agent(const std::string& option = "") const {
    std::vector<std::string> arguments = {Tool(), "agent", "--journal", Journal()};
    if (!option.empty()) arguments.push_back(option);
    return arguments;
  }

  // Runs an agent with these lines as its input until it exits.
  tools::ProcessResult Run(const std::string& lines, const std::string& option = "") const {
    std::ofstream(Root() + "/input") << lines;
    std::string command = "exec ";
    for (const auto& argument : Agent(option)) command += tools::ShellQuote(argument) + " ";
    return tools::RunProcess({"bash", "-c", command + "< " + Root() + "/input"}, kTimeoutSeconds);
  }

  std::string Runs() const {
    std::ifstream file(Root() + "/data/org.example.probe.handler/runs");
    return {std::istreambuf_iterator<char>(file), {}};
  }
};

constexpr char kUpper[] = R"({"type":"text.upper","payload":"\"a\"","uuid":"mine"})"
                          "\n";
constexpr char kOutcome[] = R"("uuid":"mine","outcome":"succeeded","status":0,"result":)";

TEST_F(AgentJournal, CarriesOutACommandOfAKilledAgentOnce) {
  Install("probe");
  const std::string pipe = Root() + "/pipe";
  ASSERT_EQ(mkfifo(pipe.c_str(), 0600), 0);
  {
    LiveProcess agent(Agent());
    agent.Write(R"({"type":"probe.wait-once","payload":")" + pipe + "\",\"uuid\":\"mine\"}\n");
    ASSERT_TRUE(agent.AwaitOutput(R"({"event":"accepted","line":1,"uuid":"mine"})"));
    // The handler is executing it.
    ASSERT_TRUE(agent.AwaitOutput("\"event\":\"extension\""));
    agent.Kill();
    agent.AwaitEnd();
  }
  LiveProcess agent(Agent());
  ASSERT_TRUE(agent.AwaitOutput(R"({"event":"ready","pending":1})")) << agent.Errors();
  std::ofstream(pipe) << "done";
  ASSERT_TRUE(agent.AwaitOutput(std::string("{\"event\":\"outcome\",") + kOutcome + "\"done\"}"))
      << agent.Output();
  EXPECT_EQ(Runs(), "mine\n");
}

TEST_F(AgentJournal, KeepsACommandThatWaitsForAHandler) {
  {
    LiveProcess agent(Agent());
    agent.Write(R"({"type":"text.upper","payload":"\"a\"","uuid":"mine","waitForHandler":true})"
                "\n");
    ASSERT_TRUE(agent.AwaitOutput("accepted"));
    agent.Kill();
    agent.AwaitEnd();
  }
  LiveProcess agent(Agent());
  ASSERT_TRUE(agent.AwaitOutput(R"({"event":"ready","pending":1})")) << agent.Errors();
  Install("text");
  EXPECT_TRUE(agent.AwaitOutput(kOutcome)) << agent.Output();
}

TEST_F(AgentJournal, ReportsAnOutcomeAtEachStartUntilItIsConfirmed) {
  Install("text");
  EXPECT_THAT(Run(kUpper).output, HasSubstr(std::string("\"line\":1,") + kOutcome));
  for (int i = 0; i < 2; ++i) {
    EXPECT_THAT(Run("").output, HasSubstr(std::string("{\"event\":\"outcome\",") + kOutcome));
  }
  {
    LiveProcess agent(Agent());
    ASSERT_TRUE(agent.AwaitOutput(kOutcome));
    agent.Write("{\"confirm\":\"mine\"}\n");
    ASSERT_TRUE(agent.AwaitOutput(R"({"event":"confirmed","line":1,"uuid":"mine"})"));
    agent.CloseInput();
    EXPECT_EQ(agent.AwaitEnd(), 0);
  }
  EXPECT_EQ(Run("").output,
            "{\"event\":\"ready\",\"pending\":0}\n{\"event\":\"end\",\"pending\":0}\n");
}

TEST_F(AgentJournal, RecognizesAUuidAfterARestart) {
  Install("probe");
  const std::string command = R"({"type":"probe.run","payload":"1","uuid":"mine"})"
                              "\n";
  EXPECT_THAT(Run(command).output, HasSubstr(kOutcome));
  EXPECT_THAT(Run("{\"confirm\":\"mine\"}\n").output, HasSubstr("confirmed"));
  EXPECT_THAT(Run(command).output,
              HasSubstr(R"("line":1,"uuid":"mine","outcome":"rejected","reason":"already-known")"));
  EXPECT_THAT(Run(R"({"type":"probe.run","payload":"2","uuid":"mine"})").output,
              HasSubstr(R"("line":1,"uuid":"mine","outcome":"rejected","reason":"conflict")"));
  EXPECT_EQ(Runs(), "mine\n");
}

TEST_F(AgentJournal, RefusesADamagedJournalUntilToldToReplaceIt) {
  const std::string text = "no journal, but as long as the header of one" + std::string(100, '.');
  std::ofstream(Journal()) << text;
  const auto refused = Run("");
  EXPECT_EQ(refused.exit_status, 1);
  EXPECT_EQ(refused.output, "");
  EXPECT_THAT(refused.errors, HasSubstr("the journal is damaged: " + Journal() + ": "));
  EXPECT_THAT(refused.errors, HasSubstr("--replace-damaged-journal renames it to " + Journal()));
  const auto replaced = Run("", "--replace-damaged-journal");
  EXPECT_EQ(replaced.exit_status, 0);
  EXPECT_THAT(replaced.errors, HasSubstr("set aside as " + Journal() + ".damaged"));
  std::ifstream aside(Journal() + ".damaged");
  EXPECT_EQ(std::string(std::istreambuf_iterator<char>(aside), {}), text);
  EXPECT_EQ(Run("").exit_status, 0);
}

TEST_F(AgentJournal, RefusesAJournalInUse) {
  LiveProcess first(Agent());
  ASSERT_TRUE(first.AwaitOutput("ready"));
  const auto second = Run("");
  EXPECT_EQ(second.exit_status, 1);
  EXPECT_THAT(second.errors, HasSubstr("the journal is in use: " + Journal()));
  EXPECT_THAT(second.errors, HasSubstr("use another journal"));
}

TEST_F(AgentJournal, RefusesAJournalOfANewerVersion) {
  ASSERT_EQ(Run("").exit_status, 0);
  // The last byte of SQLite's user version.
  std::fstream(Journal(), std::ios::in | std::ios::out | std::ios::binary).seekp(63).put(9);
  const auto run = Run("");
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_THAT(run.errors, HasSubstr("written by a newer version: format 9"));
}

TEST_F(AgentJournal, NamesAFolderThatDoesNotExist) {
  const auto run = Qor({"agent", "--journal", Root() + "/no/journal.db"});
  EXPECT_EQ(run.exit_status, 1);
  EXPECT_THAT(run.errors, HasSubstr("/no/journal.db: cannot open the journal: No such file"));
  EXPECT_THAT(run.errors, Not(HasSubstr("hint")));
}

TEST_F(AgentJournal, IsRequiredToReplaceIt) {
  EXPECT_EQ(Qor({"agent", "--replace-damaged-journal"}).exit_status, 2);
}

}  // namespace
}  // namespace end_to_end
