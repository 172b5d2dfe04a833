// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/manager.h"

#include "common/exceptions.h"
#include "handlers/repository-backend-file.h"
#include "library-test.h"
#include "memory-backend.h"

namespace {

using handlers::HandlerAdded;
using handlers::HandlerRemoved;
using handlers::HandlerUpdated;
using support::HandlerList;
using support::MakeHandler;

class FixedSource : public handlers::Source {
 public:
  HandlerList Load() override {
    ++loads;
    if (fails) throw IOError(__FILE__, __LINE__, "");
    return handlers;
  }

  HandlerList handlers;
  bool fails = false;
  int loads = 0;
};

class Manager : public support::PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    repository_ =
        std::make_shared<handlers::Repository>(std::make_unique<support::MemoryBackend>(store_));
    manager_ = std::make_shared<handlers::Manager>(repository_);
    manager_->AddSource(source_);
    fake::ClearLog();
  }

  std::shared_ptr<support::MemoryStore> store_ = std::make_shared<support::MemoryStore>();
  std::shared_ptr<handlers::Repository> repository_;
  std::shared_ptr<handlers::Manager> manager_;
  std::shared_ptr<FixedSource> source_ = std::make_shared<FixedSource>();
};

TEST_F(Manager, RegistersNewHandlerAndStoresOnce) {
  const auto h = MakeHandler("h", {"a", "b"});
  source_->Notify(HandlerAdded{h});
  EXPECT_EQ(manager_->GetHandler("a"), h);
  EXPECT_EQ(manager_->GetHandler("b"), h);
  EXPECT_EQ(manager_->GetHandlerById("h"), h);
  EXPECT_EQ(store_->writes, 1);
  EXPECT_EQ(*store_->handlers, HandlerList{h});
}

TEST_F(Manager, RemovesTypesMissingFromUpdate) {
  source_->Notify(HandlerAdded{MakeHandler("h", {"a", "b"}, 5)});
  const auto updated = MakeHandler("h", {"a", "c"}, 6);
  source_->Notify(HandlerUpdated{updated});
  EXPECT_EQ(manager_->GetHandler("a"), updated);
  EXPECT_EQ(manager_->GetHandler("b"), nullptr);
  EXPECT_FALSE(repository_->Exists("b"));
  EXPECT_EQ(manager_->GetHandler("c"), updated);
  EXPECT_EQ(manager_->GetHandlerById("h"), updated);
  EXPECT_EQ(store_->writes, 2);
  EXPECT_EQ(*store_->handlers, HandlerList{updated});
}

TEST_F(Manager, RegistersUpdateOfUnknownHandler) {
  const auto h = MakeHandler("h", {"a"});
  source_->Notify(HandlerUpdated{h});
  EXPECT_EQ(manager_->GetHandler("a"), h);
}

TEST_F(Manager, AppliesPriorityOfUpdate) {
  source_->Notify(HandlerAdded{MakeHandler("a", {"t"}, 50)});
  const auto b = MakeHandler("b", {"t"}, 40);
  source_->Notify(HandlerAdded{b});
  source_->Notify(HandlerUpdated{MakeHandler("a", {"t"}, 30)});
  EXPECT_EQ(manager_->GetHandler("t"), b);
}

TEST_F(Manager, RemovesStoredRecordOfId) {
  source_->Notify(HandlerAdded{MakeHandler("h", {"a", "b"})});
  source_->Notify(HandlerRemoved{MakeHandler("h", {})});
  EXPECT_EQ(manager_->GetHandler("a"), nullptr);
  EXPECT_EQ(manager_->GetHandler("b"), nullptr);
  EXPECT_EQ(store_->writes, 2);
  EXPECT_EQ(*store_->handlers, HandlerList{});
}

TEST_F(Manager, FindsRemovedHandlerById) {
  const auto h = MakeHandler("h", {"a"});
  source_->Notify(HandlerAdded{h});
  source_->Notify(HandlerRemoved{h});
  EXPECT_EQ(manager_->GetHandlerById("h"), h);
}

TEST_F(Manager, OnlyStoresOnRemovalOfUnknownHandler) {
  const auto h = MakeHandler("h", {"a"});
  source_->Notify(HandlerAdded{h});
  source_->Notify(HandlerRemoved{MakeHandler("other", {"a"})});
  EXPECT_EQ(manager_->GetHandler("a"), h);
  EXPECT_EQ(store_->writes, 2);
  EXPECT_EQ(*store_->handlers, HandlerList{h});
}

TEST_F(Manager, KeepsBothRecordsOfHandlerAddedTwice) {
  const auto first = MakeHandler("h", {"a"}, 5);
  const auto second = MakeHandler("h", {"a"}, 6);
  source_->Notify(HandlerAdded{first});
  source_->Notify(HandlerAdded{second});
  EXPECT_EQ(manager_->GetHandlers().size(), 2u);
  EXPECT_EQ(manager_->GetHandler("a"), second);
}

TEST_F(Manager, LoadsSourcesWhenNothingIsStored) {
  const auto h = MakeHandler("h", {"a"}, 50);
  source_->handlers = {h};
  manager_->Initialize();
  EXPECT_EQ(manager_->GetHandler("a"), h);
  EXPECT_EQ(store_->writes, 1);
}

TEST_F(Manager, CreatesMissingDatabaseFile) {
  const std::string path = fake::DataPath() + "handlers.db";
  const auto manager = std::make_shared<handlers::Manager>(std::make_shared<handlers::Repository>(
      std::make_unique<handlers::FileRepositoryBackend>(path)));
  source_->handlers = {MakeHandler("h", {"a"}, 50)};
  manager->AddSource(source_);
  manager->Initialize();
  EXPECT_EQ(support::ReadFile(path), R"({"handlers":[{"handlerType":"AppHandler",)"
                                     R"("handlerData":{"appId":"h","requestTypes":["a"]}}]})");
}

TEST_F(Manager, LoadsOnlyExistingDatabaseFile) {
  const std::string path = support::WriteFile(
      "handlers.db", R"({"handlers":[{"handlerType":"AppHandler",)"
                     R"("handlerData":{"appId":"stored","requestTypes":["a"]}}]})");
  const auto manager = std::make_shared<handlers::Manager>(std::make_shared<handlers::Repository>(
      std::make_unique<handlers::FileRepositoryBackend>(path)));
  source_->handlers = {MakeHandler("h", {"a"}, 50)};
  manager->AddSource(source_);
  manager->Initialize();
  EXPECT_EQ(source_->loads, 0);
  ASSERT_EQ(manager->GetHandlers().size(), 1u);
  EXPECT_EQ(manager->GetHandler("a")->Id(), "stored");
  EXPECT_EQ(manager->GetHandler("a")->Priority(), 0);
}

TEST_F(Manager, PropagatesOtherErrorsOfDatabase) {
  const std::string path = support::WriteFile(
      "handlers.db", R"({"handlers":[{"handlerType":"Other","handlerData":{}}]})");
  const auto repository = std::make_shared<handlers::Repository>(
      std::make_unique<handlers::FileRepositoryBackend>(path));
  repository->Add("old", MakeHandler("old", {}));
  const auto manager = std::make_shared<handlers::Manager>(repository);
  manager->AddSource(source_);
  EXPECT_THROW(manager->Initialize(), InvalidOperation);
  EXPECT_EQ(source_->loads, 0);
  EXPECT_TRUE(repository->GetAll().empty());
  EXPECT_TRUE(manager->GetHandlers().empty());
}

TEST_F(Manager, ReloadsSourcesWhateverIsStored) {
  store_->handlers = HandlerList{MakeHandler("stored", {"s"})};
  repository_->Add("old", MakeHandler("old", {}));
  const auto h = MakeHandler("h", {"a"});
  source_->handlers = {h};
  manager_->Reload();
  EXPECT_EQ(store_->reads, 0);
  EXPECT_EQ(store_->writes, 1);
  EXPECT_EQ(manager_->GetHandlers(), HandlerList{h});
  EXPECT_EQ(manager_->GetHandlerById("old"), nullptr);
}

TEST_F(Manager, AddsHandlersOfEachSource) {
  const auto other = std::make_shared<FixedSource>();
  source_->handlers = {MakeHandler("a", {"x"})};
  other->handlers = {MakeHandler("b", {"y"})};
  manager_->AddSource(other);
  manager_->LoadHandlers();
  EXPECT_NE(manager_->GetHandler("x"), nullptr);
  EXPECT_NE(manager_->GetHandler("y"), nullptr);
  EXPECT_EQ(store_->writes, 0);
}

TEST_F(Manager, PropagatesErrorsOfSource) {
  source_->fails = true;
  EXPECT_THROW(manager_->LoadHandlers(), IOError);
}

TEST_F(Manager, ListsHandlerOfManyTypesOnce) {
  const auto h = MakeHandler("h", {"a", "b", "c"});
  source_->Notify(HandlerAdded{h});
  EXPECT_EQ(manager_->GetHandlers(), HandlerList{h});
}

TEST_F(Manager, DoesNotLoadAddedSource) {
  EXPECT_EQ(source_->loads, 0);
  EXPECT_EQ(store_->writes, 0);
}

TEST_F(Manager, OwnsSourcesWithoutCycle) {
  std::weak_ptr<FixedSource> source = source_;
  const auto kept = source_;
  std::weak_ptr<handlers::Manager> manager = manager_;
  source_.reset();
  manager_.reset();
  EXPECT_TRUE(manager.expired());
  kept->Notify(HandlerAdded{MakeHandler("h", {"a"})});
  EXPECT_EQ(store_->writes, 0);
}

TEST_F(Manager, ThrowsWhenSourceIsAddedWithoutOwner) {
  handlers::Manager unowned(repository_);
  EXPECT_THROW(unowned.AddSource(source_), std::bad_weak_ptr);
}

TEST_F(Manager, LogsEnterAndExit) {
  manager_->AddSource(std::make_shared<FixedSource>());
  manager_->Initialize();
  source_->Notify(HandlerAdded{MakeHandler("h", {"a"})});
  for (const char* function : {"AddSource", "Initialize", "Update"}) {
    EXPECT_EQ(support::CountLogged(DLOG_DEBUG,
                                   support::EnterLine("manager.cc", function, support::kAnyLine)),
              1)
        << function;
    EXPECT_EQ(support::CountLogged(DLOG_DEBUG, support::ExitLine("manager.cc", function)), 1)
        << function;
  }
}

TEST_F(Manager, LogsNoEnterAndExitOfRemovalsAndUpdates) {
  const auto h = MakeHandler("h", {"a"});
  source_->Notify(HandlerRemoved{h});
  source_->Notify(handlers::HandlerUpdated{h});
  EXPECT_EQ(support::CountLogged(DLOG_DEBUG,
                                 support::EnterLine("manager.cc", "Update", support::kAnyLine)),
            0);
  EXPECT_EQ(support::CountLogged(DLOG_DEBUG, support::ExitLine("manager.cc", "Update")), 0);
}

}  // namespace
