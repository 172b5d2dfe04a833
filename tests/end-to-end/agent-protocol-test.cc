// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rapidjson/document.h>

#include <fstream>
#include <random>
#include <set>
#include <sstream>

#include "end-to-end-test.h"
#include "live-process.h"

namespace end_to_end {
namespace {

constexpr std::size_t kMaxLineSize = 3 << 20;

class AgentProtocol : public EndToEndTest {
 protected:
  static std::string Tool() { return BuildFolder() + "/tools/qor/qor"; }

  // Runs the agent with this input until it exits.
  tools::ProcessResult Feed(const std::string& input) const {
    const std::string file = Root() + "/input";
    std::ofstream(file, std::ios::binary) << input;
    return Shell("'" + Tool() + "' agent < '" + file + "'");
  }
  static tools::ProcessResult Shell(const std::string& command) {
    return tools::RunProcess({"bash", "-c", command}, kTimeoutSeconds);
  }
};

bool Holds(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

int CountOf(const std::string& text, const std::string& part) {
  int count = 0;
  for (auto at = text.find(part); at != std::string::npos; at = text.find(part, at + 1)) ++count;
  return count;
}

TEST_F(AgentProtocol, ReportsTheResultOfACommand) {
  Install("text");
  const auto run = Feed(R"({"type":"text.upper","payload":"\"hello\"","uuid":"mine"})");
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_TRUE(Holds(run.output,
                    "{\"event\":\"ready\",\"pending\":0}\n"
                    "{\"event\":\"accepted\",\"line\":1,\"uuid\":\"mine\"}\n"
                    R"({"event":"outcome","line":1,"uuid":"mine","outcome":"succeeded","status":0,)"
                    R"("result":{"text":"HELLO","by":"org.example.text.handler"},"latencyMs":)"))
      << run.output;
  EXPECT_TRUE(Holds(run.output, "}\n{\"event\":\"end\",\"pending\":0}\n")) << run.output;
}

TEST_F(AgentProtocol, SendsPayloadsAsTextOrJson) {
  Install("text");
  const std::pair<const char*, const char*> payloads[] = {
      {R"("not json")", R"("not json")"},
      {R"("\"text\"")", R"("\"text\"")"},
      {R"("{\"a\" : 1}")", R"({"a":1})"},
      {R"({ "a" : [1, 2.5, null, "\u00e4 \n"] })", "{\"a\":[1,2.5,null,\"\xC3\xA4 \\n\"]}"},
      {"true", "true"},
      {"-12", "-12"},
      {R"("")", R"("")"},
  };
  for (const auto& [in, out] : payloads) {
    const auto run = Feed(std::string(R"({"type":"text.echo","payload":)") + in + "}\n");
    EXPECT_TRUE(Holds(run.output, std::string(R"("result":)") + out + R"(,"latencyMs")"))
        << in << " gave " << run.output;
  }
}

TEST_F(AgentProtocol, GeneratesMissingUuids) {
  Install("text");
  const auto run = Feed("{\"type\":\"text.echo\"}\n\n \r\n{\"type\":\"text.echo\"}\r\n");
  EXPECT_TRUE(Holds(run.output, R"("line":1,"uuid":")")) << run.output;
  EXPECT_TRUE(Holds(run.output, R"("line":4,"uuid":")")) << run.output;
}

TEST_F(AgentProtocol, DistinguishesErrorsAndRejections) {
  Install("text");
  const auto run = Feed(
      "{\"type\":\"text.reject\"}\n"
      "{\"type\":\"no.such.type\"}\n"
      "{\"type\":\"text.delay\",\"payload\":\"0.2\",\"uuid\":\"twice\"}\n"
      "{\"type\":\"text.upper\",\"uuid\":\"twice\"}\n"
      "{\"type\":\"text.delay\",\"payload\":\"0.2\",\"uuid\":\"twice\"}\n");
  EXPECT_TRUE(Holds(run.output, R"("outcome":"failed","status":1,"error":{"ErrorCode":42,)"))
      << run.output;
  EXPECT_TRUE(Holds(
      run.output,
      R"("outcome":"not-delivered","reason":"no-handler","error":"no handler serves no.such)"))
      << run.output;
  EXPECT_TRUE(Holds(run.output, R"("line":4,"uuid":"twice","outcome":"rejected",)"
                                R"("reason":"conflict","error":"the uuid belongs to another)"))
      << run.output;
  EXPECT_TRUE(Holds(run.output, R"("line":5,"uuid":"twice","outcome":"rejected",)"
                                R"("reason":"already-known","error":"submitted before"})"))
      << run.output;
  EXPECT_TRUE(Holds(run.output, R"("line":3,"uuid":"twice","outcome":"succeeded")")) << run.output;
}

TEST_F(AgentProtocol, ReportsInvalidRequestsAndContinues) {
  const std::pair<const char*, const char*> cases[] = {
      {R"({"handlers":tru})", R"("column":16,"message":"Invalid value")"},
      {R"({"handlers":true)", R"("column":17,"message":"Missing a comma or '}')"},
      {R"([])", R"("message":"must be a JSON object")"},
      {R"({})", R"("message":"expected one of: type, confirm, handlers, negotiation")"},
      {R"({"type":5})", R"("key":"type","message":"must be a string")"},
      {R"({"type":""})", R"("key":"type","message":"must not be empty")"},
      {R"({"type":"a","uuid":""})", R"("key":"uuid","message":"must not be empty")"},
      {R"({"type":"a","payload":"\u0000"})", R"("key":"payload","message":"contains a NUL)"},
      {R"({"type":"a","other":1})",
       R"("key":"other","message":"unknown member (expected one of: type, )"},
      {R"({"type":"a","type":"b"})", R"("key":"type","message":"duplicate member")"},
      {R"({"type":"a","timeout":0})", R"("key":"timeout","message":"must be a positive integer)"},
      {R"({"type":"a","timeout":1e9})", R"("key":"timeout","message":"must be a positive)"},
      {R"({"type":"a","policy":"once"})", R"("key":"policy","message":"must be \"at-most-once\")"},
      {R"({"type":"a","waitForHandler":1})", R"("key":"waitForHandler","message":"must be true)"},
      {R"({"confirm":""})", R"("key":"confirm","message":"must not be empty")"},
      {R"({"confirm":"unknown"})", R"("key":"confirm","message":"no outcome for the uuid")"},
      {R"({"negotiation":"maybe"})", R"("key":"negotiation","message":"must be \"grant\" or)"},
      {R"({"handlers":false})", R"("key":"handlers","message":"must be true")"},
  };
  std::string input;
  for (const auto& test_case : cases) input += std::string(test_case.first) + "\n";
  input += std::string("{\"type\":\"text\0\"}\n", 17);
  const auto run = Feed(input + "{\"handlers\":true}");
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  int line = 0;
  for (const auto& [in, out] : cases) {
    const std::string expected = R"({"event":"error","line":)" + std::to_string(++line) + "," + out;
    EXPECT_TRUE(Holds(run.output, expected)) << in << " in\n" << run.output;
  }
  EXPECT_TRUE(Holds(run.output, R"({"event":"handlers","line":20,"handlers":[]})")) << run.output;
}

TEST_F(AgentProtocol, ReportsOversizedRequestsAndContinues) {
  const std::string longest = "\"" + std::string(kMaxLineSize - 2, 'x') + "\"";
  const auto run = Feed(longest + "\n" + longest + " \n" + std::string(1'000'000, '[') +
                        "\n{\"handlers\":true}\n");
  EXPECT_EQ(run.exit_status, 0) << run.errors;
  EXPECT_EQ(run.output,
            "{\"event\":\"ready\",\"pending\":0}\n"
            "{\"event\":\"error\",\"line\":1,\"message\":\"must be a JSON object\"}\n"
            "{\"event\":\"error\",\"line\":2,\"message\":\"longer than 3145728 bytes\"}\n"
            "{\"event\":\"error\",\"line\":3,\"column\":1001,"
            "\"message\":\"nested deeper than 1000\"}\n"
            "{\"event\":\"handlers\",\"line\":4,\"handlers\":[]}\n"
            "{\"event\":\"end\",\"pending\":0}\n");
}

// Lines of random bytes, and valid lines with a few bytes changed.
std::string RandomLines(std::mt19937& random, int lines) {
  const std::string valid[] = {
      R"({"type":"text.echo","payload":{"a":[1,2.5,"\u00e4"]},"uuid":"mine"})",
      R"({"confirm":"mine"})",
      R"({"negotiation":"grant"})",
      R"({"handlers":true})",
  };
  const auto below = [&random](std::size_t limit) { return random() % limit; };
  const auto byte = [&] {
    const char c = static_cast<char>(below(256));
    return c == '\n' ? '"' : c;
  };
  std::string text;
  for (int i = 0; i < lines; ++i) {
    // Empty lines would not be answered.
    std::string line = valid[below(std::size(valid))];
    if (below(3) == 0) {
      line = "x";
      for (auto length = below(200); length > 0; --length) line += byte();
    } else {
      for (auto changes = below(4); changes > 0; --changes) {
        const auto at = below(line.size());
        if (below(2) == 0) {
          line[at] = byte();
        } else {
          line.insert(at, 1, "{}[]\",:\\0u"[below(10)]);
        }
      }
    }
    text += line + "\n";
  }
  return text;
}

TEST_F(AgentProtocol, AnswersRandomLinesWithValidJson) {
  Install("text");
  constexpr int kLines = 400;
  for (const unsigned seed : {1U, 2U, 3U}) {
    std::mt19937 random(seed);
    const auto run = Feed(RandomLines(random, kLines) + "{\"handlers\":true}\n");
    ASSERT_EQ(run.exit_status, 0) << "seed " << seed << ": " << run.errors;
    std::multiset<int> answered;
    std::set<int> accepted;
    std::istringstream output(run.output);
    for (std::string line; std::getline(output, line);) {
      rapidjson::Document event;
      event.Parse<rapidjson::kParseValidateEncodingFlag>(line.c_str());
      ASSERT_TRUE(event.IsObject() && event.HasMember("event")) << "seed " << seed << ": " << line;
      if (!event.HasMember("line")) continue;
      answered.insert(event["line"].GetInt());
      if (event["event"] == "accepted") accepted.insert(event["line"].GetInt());
    }
    // An accepted command has a second event, its outcome.
    for (int line = 1; line <= kLines + 1; ++line)
      EXPECT_EQ(answered.count(line), 1U + accepted.count(line))
          << "seed " << seed << ", line " << line;
  }
}

TEST_F(AgentProtocol, ReportsRegistryChanges) {
  LiveProcess agent({Tool(), "agent"});
  agent.Write("{\"handlers\":true}\n");
  ASSERT_TRUE(agent.AwaitOutput(R"({"event":"handlers","line":1,"handlers":[]})"));
  Install("text-2");
  ASSERT_TRUE(agent.AwaitOutput(R"({"event":"added","handler":"org.example.text.handler",)"
                                R"("requestTypes":["text.)"));
  Install("text");
  ASSERT_TRUE(agent.AwaitOutput(R"({"event":"updated","handler":"org.example.text.handler",)"));
  agent.Write("{\"handlers\":true}\n");
  ASSERT_TRUE(agent.AwaitOutput(
      R"("line":2,"handlers":[{"handler":"org.example.text.handler","requestTypes":[)"));
  Uninstall("org.example.text");
  ASSERT_TRUE(agent.AwaitOutput(R"({"event":"removed","handler":"org.example.text.handler",)"));
  agent.CloseInput();
  EXPECT_EQ(agent.AwaitEnd(), 0);
}

TEST_F(AgentProtocol, GrantsOrRefusesExtensions) {
  Install("text");
  const std::string slow = R"({"type":"text.slow","payload":"0.2","uuid":")";
  const auto run = Feed(slow + "one\"}\n");
  EXPECT_TRUE(Holds(run.output, R"({"event":"extension","uuid":"one","handler":)"
                                R"("org.example.text.handler","seconds":0.4,"granted":true})"))
      << run.output;
  EXPECT_TRUE(Holds(run.output, R"("uuid":"one","outcome":"succeeded")")) << run.output;
  const auto refused = Feed("{\"negotiation\":\"refuse\"}\n" + slow + "two\"}\n");
  EXPECT_TRUE(Holds(refused.output, R"({"event":"negotiation","line":1,"negotiation":"refuse"})"))
      << refused.output;
  EXPECT_TRUE(Holds(refused.output, R"("seconds":0.4,"granted":false})")) << refused.output;
  EXPECT_TRUE(Holds(refused.output, R"("uuid":"two","outcome":"failed")")) << refused.output;
}

TEST_F(AgentProtocol, EndsACommandAtItsDeadlineAndReportsALateAnswer) {
  Install("text");
  LiveProcess agent({Tool(), "agent"});
  agent.Write("{\"type\":\"text.delay\",\"payload\":\"1.5\",\"uuid\":\"mine\",\"timeout\":500}\n");
  ASSERT_TRUE(agent.AwaitOutput(R"("line":1,"uuid":"mine","outcome":"unknown",)"
                                R"("error":"no answer by the deadline: text.delay may have been)"))
      << agent.Output();
  ASSERT_TRUE(agent.AwaitOutput(R"({"event":"amendment","uuid":"mine","outcome":"succeeded",)"
                                R"("status":0,"result":{"text":"done slowly"}})"));
}

TEST_F(AgentProtocol, SetsTheLibrarysTimeouts) {
  Install("silent");
  const auto run = Shell("echo '{\"type\":\"silence.keep\",\"timeout\":900}' | " + Tool() +
                         " agent --connection-timeout 500");
  EXPECT_TRUE(Holds(run.output,
                    R"("outcome":"not-delivered","reason":"not-connected","error":)"
                    R"("the handler of silence.keep was launched and did not connect")"))
      << run.output;
}

TEST_F(AgentProtocol, WaitsForAHandlerWhenAsked) {
  LiveProcess agent({Tool(), "agent"});
  agent.Write("{\"type\":\"text.echo\",\"payload\":\"1\",\"waitForHandler\":true}\n");
  ASSERT_TRUE(agent.AwaitOutput("accepted"));
  Install("text");
  EXPECT_TRUE(agent.AwaitOutput("\"outcome\":\"succeeded\"")) << agent.Output();
}

TEST_F(AgentProtocol, HasAsManyCommandsInFlightAsTheWindow) {
  Install("text");
  const auto extensions_of_first_outcome = [this](const std::string& options) {
    const std::string slow = "{\"type\":\"text.slow\",\"payload\":\"0.5\"}";
    const auto run =
        Shell("printf '%s\\n' '" + slow + "' '" + slow + "' | " + Tool() + " agent" + options);
    const auto first = run.output.substr(0, run.output.find("\"outcome\":\"succeeded\""));
    return CountOf(first, "\"event\":\"extension\"");
  };
  // A handler asks for an extension as soon as it has the command.
  EXPECT_EQ(extensions_of_first_outcome(""), 1);
  EXPECT_EQ(extensions_of_first_outcome(" --window 2"), 2);
}

TEST_F(AgentProtocol, ExitsCleanlyOnASignal) {
  Install("text");
  for (const auto& [stop, status] :
       {std::pair{&LiveProcess::Interrupt, 130}, std::pair{&LiveProcess::Terminate, 143}}) {
    LiveProcess agent({Tool(), "agent"});
    agent.Write("{\"type\":\"text.echo\"}\n");
    ASSERT_TRUE(agent.AwaitOutput("\"succeeded\""));
    agent.Write("{\"type\":\"text.delay\",\"payload\":\"2\"}\n{\"handlers\":true}\n");
    ASSERT_TRUE(agent.AwaitOutput("\"handlers\""));
    (agent.*stop)();
    EXPECT_EQ(agent.AwaitEnd(), status);
    EXPECT_TRUE(Holds(agent.Output(), "{\"event\":\"end\",\"pending\":1}\n")) << agent.Output();
  }
}

TEST_F(AgentProtocol, ExitsWhenTheOutputIsClosed) {
  // The input stays open without further data.
  const auto run =
      tools::RunProcess({"bash", "-c",
                         "mkfifo '" + Root() + "/input'; exec 3<>'" + Root() + "/input'; " +
                             "echo '{\"handlers\":true}' >&3; '" + Tool() +
                             "' agent <&3 | head -n 2; " + "exit ${PIPESTATUS[0]}"},
                        kTimeoutSeconds);
  EXPECT_EQ(run.exit_status, 1) << run.errors;
  EXPECT_TRUE(Holds(run.output, "\"handlers\"")) << run.output;
  EXPECT_TRUE(Holds(run.errors, "standard output is closed")) << run.errors;
}

TEST_F(AgentProtocol, RequiresAnInputAndAnOutput) {
  for (const char* closed : {"<&-", ">&-"}) {
    const auto run =
        tools::RunProcess({"bash", "-c", "'" + Tool() + "' agent " + closed}, kTimeoutSeconds);
    EXPECT_EQ(run.exit_status, 2) << run.errors;
    EXPECT_TRUE(Holds(run.errors, "is closed")) << run.errors;
  }
}

}  // namespace
}  // namespace end_to_end
