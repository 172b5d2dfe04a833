// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <dlog.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <regex>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace {

// The log reads its settings once, so each case runs in a separate process.
class Dlog : public testing::Test {
 protected:
  void SetUp() override {
    char folder[] = "/tmp/dlog-test-XXXXXX";
    ASSERT_NE(mkdtemp(folder), nullptr);
    folder_ = folder;
  }
  void TearDown() override { std::filesystem::remove_all(folder_); }

  std::string LogFile() const { return folder_ + "/log"; }

  // Runs an action with standard error in a file. Returns the process's exit code.
  int Run(const char* filter, const std::string& log_file, const std::function<int()>& action) {
    const pid_t child = fork();
    if (child == 0) {
      filter == nullptr ? unsetenv("DLOG_FILTER") : setenv("DLOG_FILTER", filter, 1);
      log_file.empty() ? unsetenv("DLOG_FILE") : setenv("DLOG_FILE", log_file.c_str(), 1);
      if (freopen((folder_ + "/stderr").c_str(), "a", stderr) == nullptr) std::_Exit(100);
      std::_Exit(action());
    }
    int status = 0;
    waitpid(child, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
  }

  std::string Text(const std::string& file) const {
    std::ifstream stream(file);
    std::ostringstream text;
    text << stream.rdbuf();
    return text.str();
  }
  std::string StandardError() const { return Text(folder_ + "/stderr"); }

 private:
  std::string folder_;
};

TEST_F(Dlog, WritesOneLineInThreadtimeFormat) {
  EXPECT_EQ(Run(nullptr, "", [] { return dlog_print(DLOG_WARN, "MY_APP", "n=%d", 7) > 0 ? 0 : 1; }),
            0);
  const std::regex line(R"(\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}[+-]\d{4} +\d+ +\d+ W MY_APP  : n=7\n)");
  EXPECT_TRUE(std::regex_match(StandardError(), line)) << StandardError();
}

TEST_F(Dlog, ReturnsBytesWrittenAndZeroForDroppedLine) {
  EXPECT_EQ(Run(nullptr, LogFile(),
                [] { return dlog_print(DLOG_INFO, "TAG", "%s", "dropped") == 0 ? 0 : 1; }),
            0);
  EXPECT_EQ(Text(LogFile()), "");
  const int written = Run(nullptr, LogFile(), [] { return dlog_print(DLOG_ERROR, "TAG", "kept"); });
  EXPECT_EQ(static_cast<size_t>(written), Text(LogFile()).size());
}

TEST_F(Dlog, AppendsToNamedFile) {
  for (const char* text : {"first", "second"}) {
    Run(nullptr, LogFile(), [text] { return dlog_print(DLOG_ERROR, "TAG", "%s", text); });
  }
  const std::string log = Text(LogFile());
  EXPECT_LT(log.find("first\n"), log.find("second\n"));
  EXPECT_EQ(StandardError(), "");
}

TEST_F(Dlog, NamesUnwritableFileAndUsesStandardError) {
  Run(nullptr, "/no/such/folder/log", [] { return dlog_print(DLOG_ERROR, "TAG", "kept"); });
  EXPECT_NE(StandardError().find("/no/such/folder/log"), std::string::npos);
  EXPECT_NE(StandardError().find("TAG     : kept\n"), std::string::npos);
}

TEST_F(Dlog, AppliesFilterOfEnvironment) {
  Run("LOUD:V *:E", LogFile(), [] {
    dlog_print(DLOG_VERBOSE, "LOUD", "one");
    dlog_print(DLOG_WARN, "OTHER", "two");
    dlog_print(DLOG_ERROR, "OTHER", "three");
    return 0;
  });
  const std::string log = Text(LogFile());
  EXPECT_NE(log.find("V LOUD    : one\n"), std::string::npos);
  EXPECT_EQ(log.find("two"), std::string::npos);
  EXPECT_NE(log.find("E OTHER   : three\n"), std::string::npos);
}

TEST_F(Dlog, NamesInvalidFilterOnceAndUsesDefault) {
  Run("TAG:Q", LogFile(), [] {
    dlog_print(DLOG_INFO, "TAG", "dropped");
    dlog_print(DLOG_WARN, "TAG", "kept");
    return 0;
  });
  EXPECT_NE(StandardError().find("TAG:Q"), std::string::npos);
  const std::string output = StandardError();
  EXPECT_EQ(std::count(output.begin(), output.end(), '\n'), 1);
  EXPECT_EQ(Text(LogFile()).find("dropped"), std::string::npos);
  EXPECT_NE(Text(LogFile()).find("kept"), std::string::npos);
}

TEST_F(Dlog, TruncatesMessageAtFourKilobytes) {
  Run(nullptr, LogFile(), [] {
    return dlog_print(DLOG_ERROR, "TAG", "%s", std::string(5000, 'x').c_str()) > 0 ? 0 : 1;
  });
  const std::string log = Text(LogFile());
  EXPECT_EQ(std::count(log.begin(), log.end(), 'x'), 4096);
  EXPECT_EQ(log.back(), '\n');
}

TEST_F(Dlog, EscapesArgumentsAndKeepsFormat) {
  Run("*:V", LogFile(), [] {
    const auto print = [](const char* file, const char* message) {
      dlog_print(DLOG_ERROR, "TAG", "\033[0;31m%s: %s: %d > \033[0;m%s%%%c", file, "Send", 7,
                 message, '!');
    };
    print("logic.cc", "harmless \xC3\xA4");
    print("\033[2J", "a\n11-22 00:00:00.000+0000 1 1 E TAG     : forged\033[0;m");
    print("\xFF", "\u009b\u202e\x7f\r");
    dlog_print(DLOG_ERROR, "TAG", "%s", "\033[0;31mred");
    return 0;
  });
  std::istringstream log(Text(LogFile()));
  std::vector<std::string> messages;
  for (std::string line; std::getline(log, line);) {
    messages.push_back(line.substr(line.find("TAG     : ") + 10));
  }
  const std::vector<std::string> expected = {
      "\033[0;31mlogic.cc: Send: 7 > \033[0;mharmless \xC3\xA4%!",
      "\033[0;31m\\x1b[2J: Send: 7 > \033[0;ma\\n11-22 00:00:00.000+0000 1 1 E TAG     : forged"
      "\\x1b[0;m%!",
      "\033[0;31m\\xff: Send: 7 > \033[0;m\\u009b\\u202e\\x7f\\r%!",
      "\\x1b[0;31mred",
  };
  EXPECT_EQ(messages, expected);
}

TEST_F(Dlog, TruncatesEscapedMessageAfterWholeEscape) {
  Run(nullptr, LogFile(), [] {
    return dlog_print(DLOG_ERROR, "TAG", "x\n%s", std::string(5000, '\033').c_str()) > 0 ? 0 : 1;
  });
  const std::string log = Text(LogFile());
  const std::string message = log.substr(log.find(": ") + 2);
  ASSERT_EQ(message.size(), 4096u - 2 + 1);  // Two bytes for x and its line end, four an escape.
  EXPECT_EQ(message.substr(0, 10), "x\n\\x1b\\x1b");
  EXPECT_EQ(message.substr(message.size() - 5), "\\x1b\n");
}

TEST_F(Dlog, RejectsNullArgumentsAndInvalidPriorities) {
  EXPECT_EQ(Run("*:V", LogFile(),
                [] {
                  const char* no_text = nullptr;
                  const bool are_rejected =
                      dlog_print(DLOG_ERROR, nullptr, "x") == DLOG_ERROR_INVALID_PARAMETER &&
                      dlog_print(DLOG_ERROR, "TAG", no_text, "x") == DLOG_ERROR_INVALID_PARAMETER &&
                      dlog_print(DLOG_UNKNOWN, "TAG", "x") == DLOG_ERROR_INVALID_PARAMETER &&
                      dlog_print(DLOG_SILENT, "TAG", "x") == DLOG_ERROR_INVALID_PARAMETER;
                  return are_rejected ? 0 : 1;
                }),
            0);
  EXPECT_EQ(Text(LogFile()), "");
}

TEST_F(Dlog, ContinuesAfterFatalLineAndKeepsErrno) {
  EXPECT_EQ(Run(nullptr, LogFile(),
                [] {
                  dlog_print(DLOG_FATAL, "TAG", "fatal");
                  errno = EXDEV;
                  dlog_print(DLOG_FATAL, "TAG", "again");
                  return errno == EXDEV ? 3 : 4;
                }),
            3);
}

TEST_F(Dlog, RaisesNoSignalWhenReaderHasExited) {
  EXPECT_EQ(Run(nullptr, "",
                [] {
                  int ends[2];
                  if (pipe(ends) != 0) return 1;
                  close(ends[0]);
                  dup2(ends[1], STDERR_FILENO);
                  std::signal(SIGPIPE, SIG_DFL);
                  const int result = dlog_print(DLOG_ERROR, "TAG", "no reader");
                  return result == DLOG_ERROR_NOT_PERMITTED ? 5 : 6;
                }),
            5);
}

TEST_F(Dlog, LimitsWarningsThatDifferOnlyInNumbers) {
  Run("*:I", LogFile(), [] {
    for (int i = 0; i < 1000; ++i) dlog_print(DLOG_WARN, "TAG", "process %d was rejected", i);
    for (int i = 0; i < 1000; ++i) dlog_print(DLOG_INFO, "TAG", "information %d", i);
    dlog_print(DLOG_WARN, "TAG", "something else");
    return 0;
  });
  const std::string log = Text(LogFile());
  EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 100 + 1000 + 1);
  EXPECT_NE(log.find("process 99 was rejected"), std::string::npos);
  EXPECT_NE(log.find("something else"), std::string::npos);
}

TEST_F(Dlog, DoesNotMixLinesOfThreads) {
  Run("*:I", LogFile(), [] {
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
      threads.emplace_back([] {
        for (int j = 0; j < 200; ++j) dlog_print(DLOG_INFO, "TAG", "%s", "whole line");
      });
    }
    for (std::thread& thread : threads) thread.join();
    return 0;
  });
  std::istringstream log(Text(LogFile()));
  const std::regex whole(R"(.* I TAG     : whole line)");
  int lines = 0;
  for (std::string line; std::getline(log, line); ++lines) {
    ASSERT_TRUE(std::regex_match(line, whole)) << line;
  }
  EXPECT_EQ(lines, 800);
}

}  // namespace
