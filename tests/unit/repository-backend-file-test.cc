// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/repository-backend-file.h"

#include <csignal>

#include "common/exceptions.h"
#include "handlers/factory.h"
#include "library-test.h"

namespace {

using handlers::FileRepositoryBackend;
using support::ReadFile;
using support::WriteFile;

class FileBackend : public support::PlatformTest {
 protected:
  static std::shared_ptr<handlers::BaseHandler> Handler(const std::string& stored) {
    json::Document document;
    document.Parse(stored.c_str());
    return handlers::Factory::Instance().CreateHandler("AppHandler", document);
  }

  std::string Path() const { return fake::DataPath() + "handlers.db"; }
};

TEST_F(FileBackend, AccessesNoFileInConstructor) {
  const FileRepositoryBackend backend(Path());
  EXPECT_FALSE(support::FileExists(Path()));
}

TEST_F(FileBackend, WritesEmptyList) {
  FileRepositoryBackend(Path()).Store({});
  EXPECT_EQ(ReadFile(Path()), R"({"handlers":[]})");
}

TEST_F(FileBackend, WritesRecordsInOrderWithoutWhitespace) {
  FileRepositoryBackend(Path()).Store({Handler(R"({"appId":"z","requestTypes":["b","a"]})"),
                                       Handler(R"({"appId":"a","requestTypes":[]})")});
  EXPECT_EQ(ReadFile(Path()),
            R"({"handlers":[)"
            R"({"handlerType":"AppHandler","handlerData":{"appId":"z","requestTypes":["a","b"]}},)"
            R"({"handlerType":"AppHandler","handlerData":{"appId":"a","requestTypes":[]}}]})");
}

TEST_F(FileBackend, WritesRecordsOfAnyLength) {
  // Records that fill a chunk of the file, end within a chunk, and exceed a chunk.
  std::vector<std::shared_ptr<handlers::BaseHandler>> handlers;
  std::string expected = R"({"handlers":[)";
  for (int i = 0; i < 3000; ++i) {
    const std::string data = R"({"appId":"org.example.application)" + std::to_string(i) +
                             R"(","requestTypes":[")" + std::string(i == 1000 ? 300'000 : 50, 'a') +
                             R"("]})";
    handlers.push_back(Handler(data));
    expected +=
        (i == 0 ? "" : ",") + (R"({"handlerType":"AppHandler","handlerData":)" + data + "}");
  }
  FileRepositoryBackend(Path()).Store(handlers);
  EXPECT_TRUE(ReadFile(Path()) == expected + "]}");
}

TEST_F(FileBackend, ReplacesLongerFile) {
  WriteFile("handlers.db", std::string(1000, 'x'));
  FileRepositoryBackend(Path()).Store({});
  EXPECT_EQ(ReadFile(Path()), R"({"handlers":[]})");
}

TEST_F(FileBackend, IgnoresUnwritableFile) {
  const std::string path = fake::DataPath() + "missing/handlers.db";
  EXPECT_NO_THROW(FileRepositoryBackend(path).Store({}));
  EXPECT_FALSE(support::FileExists(path));
}

TEST_F(FileBackend, ThrowsNotInitializedWithoutFile) {
  try {
    FileRepositoryBackend(Path()).Load();
    FAIL() << "no exception thrown";
  } catch (const NotInitialized& error) {
    EXPECT_STREQ(error.what(), "");
  }
}

TEST_F(FileBackend, ReadsEmptyList) {
  WriteFile("handlers.db", R"({"handlers":[]})");
  EXPECT_TRUE(FileRepositoryBackend(Path()).Load().empty());
}

TEST_F(FileBackend, ReturnsNothingWhenHandlersIsNotList) {
  WriteFile("handlers.db", R"({"handlers":{"a":1}})");
  EXPECT_TRUE(FileRepositoryBackend(Path()).Load().empty());
}

TEST_F(FileBackend, ReadsWrittenRecords) {
  const auto first = Handler(R"({"appId":"z \"quoted\" \u00e4","requestTypes":["a","b"]})");
  const auto second = Handler(R"({"appId":"a","requestTypes":["c"]})");
  first->SetPriority(50);
  FileRepositoryBackend backend(Path());
  backend.Store({first, second});
  const auto loaded = backend.Load();
  ASSERT_EQ(loaded.size(), 2u);
  EXPECT_EQ(loaded[0]->Id(), first->Id());
  EXPECT_EQ(loaded[0]->RequestTypes(), first->RequestTypes());
  EXPECT_EQ(loaded[0]->Priority(), 0);
  EXPECT_EQ(loaded[1]->Id(), "a");
  EXPECT_EQ(loaded[1]->RequestTypes(), std::set<std::string>{"c"});
}

TEST_F(FileBackend, ReadsFileLargerThanParseStack) {
  std::vector<std::shared_ptr<handlers::BaseHandler>> many;
  for (int i = 0; i < 500; ++i) {
    many.push_back(
        Handler(R"({"appId":"app)" + std::to_string(i) + R"(","requestTypes":["a","b","c"]})"));
  }
  FileRepositoryBackend backend(Path());
  backend.Store(many);
  EXPECT_EQ(backend.Load().size(), 500u);
}

TEST_F(FileBackend, RejectsUnknownHandlerType) {
  WriteFile("handlers.db",
            R"({"handlers":[)"
            R"({"handlerType":"AppHandler","handlerData":{"appId":"a","requestTypes":[]}},)"
            R"({"handlerType":"Other","handlerData":{}}]})");
  try {
    FileRepositoryBackend(Path()).Load();
    FAIL() << "no exception thrown";
  } catch (const InvalidOperation& error) {
    EXPECT_STREQ(error.what(), "Unsupported handler type");
  }
}

TEST_F(FileBackend, LogsEnterAndExitOfFunctions) {
  FileRepositoryBackend backend(Path());
  const auto count = [](const std::string& function) {
    const std::string file = "repository-backend-file.cc";
    const int enter =
        support::CountLogged(DLOG_DEBUG, support::EnterLine(file, function, support::kAnyLine));
    const int exit = support::CountLogged(DLOG_DEBUG, support::ExitLine(file, function));
    return std::make_pair(enter, exit);
  };
  EXPECT_THROW(backend.Load(), NotInitialized);
  EXPECT_EQ(count("Load"), std::make_pair(1, 1));
  backend.Store({Handler(R"({"appId":"a","requestTypes":[]})"),
                 Handler(R"({"appId":"b","requestTypes":[]})")});
  EXPECT_EQ(count("Store"), std::make_pair(1, 1));
  backend.Load();
  EXPECT_EQ(count("FromJson"), std::make_pair(2, 2));
  EXPECT_EQ(fake::Log().size(), 10u);
}

class FileBackendDeathTest : public FileBackend {
 protected:
  // The JSON library's assertions abort the process even with NDEBUG.
  void ExpectAbort(const std::string& text, const std::string& condition) {
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    EXPECT_EXIT(
        {
          WriteFile("handlers.db", text);
          FileRepositoryBackend(Path()).Load();
        },
        ::testing::KilledBySignal(SIGABRT),
        "Handler database: assertion failed: " + condition + "\n")
        << text;
  }

  static constexpr char kMissing[] = "false";
  static constexpr char kNoObject[] = "IsObject\\(\\)";
  static constexpr char kNoText[] = "IsString\\(\\)";
};

TEST_F(FileBackendDeathTest, AbortsOnEmptyFile) { ExpectAbort("", kNoObject); }

TEST_F(FileBackendDeathTest, AbortsOnInvalidJson) { ExpectAbort("no json", kNoObject); }

TEST_F(FileBackendDeathTest, AbortsOnDeeplyNestedDocument) {
  ExpectAbort(std::string(200'000, '['), kNoObject);
}

TEST_F(FileBackendDeathTest, AbortsOnTruncatedDocument) {
  ExpectAbort(R"({"handlers":[)", kNoObject);
}

TEST_F(FileBackendDeathTest, AbortsOnTrailingText) {
  ExpectAbort(R"({"handlers":[]} {})", kNoObject);
}

TEST_F(FileBackendDeathTest, AbortsOnNonObject) {
  ExpectAbort("[]", kNoObject);
  ExpectAbort("null", kNoObject);
}

TEST_F(FileBackendDeathTest, AbortsOnMissingHandlers) { ExpectAbort("{}", kMissing); }

TEST_F(FileBackendDeathTest, AbortsOnNonObjectEntry) {
  ExpectAbort(R"({"handlers":[1]})", kNoObject);
}

TEST_F(FileBackendDeathTest, AbortsOnMissingType) {
  ExpectAbort(R"({"handlers":[{"handlerData":{"appId":"a","requestTypes":[]}}]})", kMissing);
}

TEST_F(FileBackendDeathTest, AbortsOnMissingData) {
  ExpectAbort(R"({"handlers":[{"handlerType":"AppHandler"}]})", kMissing);
}

TEST_F(FileBackendDeathTest, AbortsOnMissingDataOfUnknownType) {
  ExpectAbort(R"({"handlers":[{"handlerType":"Other"}]})", kMissing);
}

TEST_F(FileBackendDeathTest, AbortsOnNonStringType) {
  ExpectAbort(R"({"handlers":[{"handlerType":1,"handlerData":{"appId":"a","requestTypes":[]}}]})",
              kNoText);
}

TEST_F(FileBackendDeathTest, AbortsOnNonObjectData) {
  ExpectAbort(R"({"handlers":[{"handlerType":"AppHandler","handlerData":"a"}]})", kNoObject);
}

TEST_F(FileBackendDeathTest, AbortsOnInvalidEntryAfterValidEntry) {
  ExpectAbort(R"({"handlers":[)"
              R"({"handlerType":"AppHandler","handlerData":{"appId":"a","requestTypes":[]}},)"
              R"({"handlerType":"AppHandler","handlerData":{"requestTypes":[]}}]})",
              kMissing);
}

}  // namespace
