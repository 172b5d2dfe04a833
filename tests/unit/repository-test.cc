// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers/repository.h"

#include "common/exceptions.h"
#include "handlers/repository-backend-file.h"
#include "library-test.h"
#include "memory-backend.h"

namespace {

using support::HandlerList;
using support::MakeHandler;

class Repository : public support::PlatformTest {
 protected:
  std::shared_ptr<support::MemoryStore> store_ = std::make_shared<support::MemoryStore>();
  handlers::Repository repository_{std::make_unique<support::MemoryBackend>(store_)};
};

TEST_F(Repository, PadsNumbersWithZeros) {
  EXPECT_EQ(handlers::ToZeroLeadString(7), "007");
  EXPECT_EQ(handlers::ToZeroLeadString(42), "042");
  EXPECT_EQ(handlers::ToZeroLeadString(999), "999");
  EXPECT_EQ(handlers::ToZeroLeadString(1000), "1000");
  EXPECT_EQ(handlers::ToZeroLeadString(0), "000");
  EXPECT_EQ(handlers::ToZeroLeadString(-5), "0-5");
  EXPECT_EQ(handlers::ToZeroLeadString(-100), "-100");
}

TEST_F(Repository, LogsEnterAndExitOfConstructor) {
  fake::ClearLog();
  const handlers::Repository other(std::make_unique<support::MemoryBackend>(store_));
  EXPECT_EQ(support::CountLogged(
                DLOG_DEBUG, support::EnterLine("repository.cc", "Repository", support::kAnyLine)),
            1);
  EXPECT_EQ(support::CountLogged(DLOG_DEBUG, support::ExitLine("repository.cc", "Repository")), 1);
}

TEST_F(Repository, IsEmptyAfterConstruction) {
  EXPECT_EQ(store_->reads, 0);
  EXPECT_TRUE(repository_.GetAll().empty());
  EXPECT_TRUE(repository_.GetAllRev().empty());
}

TEST_F(Repository, PrefersSmallerIdOfEqualPriorities) {
  const auto a = MakeHandler("a", {}, 5);
  const auto b = MakeHandler("b", {}, 5);
  repository_.Add("type", b);
  repository_.Add("type", a);
  EXPECT_EQ(repository_.GetHandler("type"), a);
}

TEST_F(Repository, PrefersLargerPriority) {
  const auto a = MakeHandler("a", {}, 5);
  const auto b = MakeHandler("b", {}, 6);
  repository_.Add("type", a);
  repository_.Add("type", b);
  EXPECT_EQ(repository_.GetHandler("type"), b);
}

TEST_F(Repository, OrdersKeysAsText) {
  for (const int priority : {0, 999, 1000, 1099, -5, 100}) {
    repository_.Add("type", MakeHandler("h", {}, priority));
  }
  std::vector<std::string> keys;
  for (const auto& [key, handler] : repository_.GetAll().at("type")) keys.push_back(key);
  EXPECT_EQ(keys, (std::vector<std::string>{"-100h", "0-1h", "000h", "1004h", "899h", "999h"}));
}

TEST_F(Repository, HasNoHandlerOfUnknownType) {
  EXPECT_EQ(repository_.GetHandler("type"), nullptr);
  EXPECT_FALSE(repository_.Exists("type"));
  EXPECT_TRUE(repository_.GetAll().empty());
  EXPECT_EQ(repository_.GetHandlerById("id"), nullptr);
}

TEST_F(Repository, IgnoresDuplicateAdd) {
  const auto a = MakeHandler("a", {});
  repository_.Add("type", a);
  repository_.Add("type", a);
  EXPECT_EQ(repository_.GetAll().at("type").size(), 1u);
  EXPECT_EQ(repository_.GetAllRev().size(), 1u);
}

TEST_F(Repository, KeepsFirstOfTwoObjectsOfSameIdAndFindsSecondById) {
  const auto first = MakeHandler("a", {}, 5);
  const auto second = MakeHandler("a", {}, 5);
  repository_.Add("type", first);
  repository_.Add("type", second);
  EXPECT_EQ(repository_.GetHandler("type"), first);
  EXPECT_EQ(repository_.GetAll().at("type").size(), 1u);
  EXPECT_EQ(repository_.GetHandlerById("a"), second);
  repository_.Sync();
  EXPECT_THAT(*store_->handlers, ::testing::UnorderedElementsAre(first, second));
}

TEST_F(Repository, FindsSecondByIdAfterFirstIsDestroyed) {
  const std::string id = "org.example.an-id-that-needs-memory-of-its-own";
  auto first = MakeHandler(id, {});
  repository_.Add("type", first);
  const auto second = MakeHandler(id, {});
  repository_.Add("type", second);
  repository_.RemoveAll(first);
  const std::weak_ptr<handlers::BaseHandler> destroyed = first;
  first.reset();
  EXPECT_TRUE(destroyed.expired());
  EXPECT_EQ(repository_.GetHandlerById(id), second);
}

TEST_F(Repository, ListsTypesOfHandlerInOrderWithoutDuplicates) {
  const auto h = MakeHandler("h", {});
  const auto types = [&] {
    std::vector<std::string> names;
    for (const auto* type : repository_.GetAllRev().at(h)) names.push_back(type->first);
    return names;
  };
  for (const char* type : {"b", "c", "a", "b"}) repository_.Add(type, h);
  EXPECT_THAT(types(), ::testing::ElementsAre("a", "b", "c"));
  repository_.Remove("b", h);
  EXPECT_THAT(types(), ::testing::ElementsAre("a", "c"));
}

TEST_F(Repository, KeepsObjectsOfSameIdAtDifferentPriorities) {
  const auto low = MakeHandler("a", {}, 5);
  const auto high = MakeHandler("a", {}, 6);
  repository_.Add("type", low);
  repository_.Add("type", high);
  EXPECT_EQ(repository_.GetAll().at("type").size(), 2u);
  EXPECT_EQ(repository_.GetHandler("type"), high);
}

TEST_F(Repository, RemoveAllKeepsId) {
  const auto h = MakeHandler("h", {});
  repository_.Add("only", h);
  repository_.Add("shared", h);
  const auto other = MakeHandler("other", {});
  repository_.Add("shared", other);
  repository_.RemoveAll(h);
  EXPECT_FALSE(repository_.Exists("only"));
  EXPECT_EQ(repository_.GetHandler("only"), nullptr);
  EXPECT_EQ(repository_.GetHandler("shared"), other);
  EXPECT_EQ(repository_.GetHandlerById("h"), h);
  repository_.Sync();
  EXPECT_EQ(*store_->handlers, HandlerList{other});
}

TEST_F(Repository, RemoveAllKeepsOtherObjectOfSameId) {
  const auto first = MakeHandler("a", {}, 5);
  const auto second = MakeHandler("a", {}, 6);
  repository_.Add("type", first);
  repository_.Add("type", second);
  repository_.RemoveAll(second);
  EXPECT_EQ(repository_.GetHandler("type"), first);
}

TEST_F(Repository, RemoveAllIgnoresUnknownHandler) {
  const auto h = MakeHandler("h", {});
  repository_.Add("type", h);
  repository_.RemoveAll(nullptr);
  repository_.RemoveAll(MakeHandler("h", {}));
  EXPECT_EQ(repository_.GetHandler("type"), h);
  EXPECT_EQ(repository_.GetAllRev().size(), 1u);
}

TEST_F(Repository, RemoveAlsoRemovesId) {
  const auto h = MakeHandler("h", {});
  repository_.Add("t", h);
  repository_.Add("u", h);
  repository_.Remove("t", h);
  EXPECT_FALSE(repository_.Exists("t"));
  EXPECT_EQ(repository_.GetHandler("u"), h);
  EXPECT_EQ(repository_.GetHandlerById("h"), nullptr);
  repository_.Sync();
  EXPECT_EQ(*store_->handlers, HandlerList{h});
}

TEST_F(Repository, StoresHandlerWhoseLastTypeWasRemoved) {
  const auto h = MakeHandler("h", {});
  repository_.Add("t", h);
  repository_.Remove("t", h);
  repository_.Sync();
  EXPECT_EQ(*store_->handlers, HandlerList{h});
}

TEST_F(Repository, RemoveAddsUnknownHandlerToReverseIndex) {
  const auto h = MakeHandler("h", {});
  repository_.Remove("t", h);
  EXPECT_FALSE(repository_.Exists("t"));
  EXPECT_EQ(repository_.GetAllRev().count(h), 1u);
}

TEST_F(Repository, ClearKeepsStoredHandlers) {
  repository_.Add("type", MakeHandler("h", {}));
  repository_.Clear();
  EXPECT_TRUE(repository_.GetAll().empty());
  EXPECT_TRUE(repository_.GetAllRev().empty());
  EXPECT_EQ(repository_.GetHandlerById("h"), nullptr);
  EXPECT_EQ(store_->writes, 0);
}

TEST_F(Repository, StoresOnlyOnSync) {
  const auto h = MakeHandler("h", {});
  repository_.Add("a", h);
  repository_.Add("b", h);
  EXPECT_EQ(store_->writes, 0);
  repository_.Sync();
  EXPECT_EQ(store_->writes, 1);
  EXPECT_EQ(*store_->handlers, HandlerList{h});
}

TEST_F(Repository, WritesEmptyDocument) {
  const std::string path = fake::DataPath() + "handlers.db";
  handlers::Repository repository(std::make_unique<handlers::FileRepositoryBackend>(path));
  repository.Sync();
  EXPECT_EQ(support::ReadFile(path), R"({"handlers":[]})");
}

TEST_F(Repository, LoadReplacesHandlers) {
  const auto a = MakeHandler("a", {"x", "y"});
  const auto b = MakeHandler("b", {"y"});
  store_->handlers = HandlerList{b, a};
  repository_.Add("old", MakeHandler("old", {}));
  repository_.Load();
  EXPECT_FALSE(repository_.Exists("old"));
  EXPECT_EQ(repository_.GetHandler("x"), a);
  EXPECT_EQ(repository_.GetHandler("y"), a);
  EXPECT_EQ(repository_.GetHandlerById("b"), b);
  EXPECT_EQ(repository_.GetAllRev().size(), 2u);
}

TEST_F(Repository, LoadKeepsOldIds) {
  const auto old = MakeHandler("old", {});
  repository_.Add("type", old);
  store_->handlers = HandlerList{};
  repository_.Load();
  EXPECT_EQ(repository_.GetHandlerById("old"), old);
}

TEST_F(Repository, LoadRemovesTypesWhenNothingIsStored) {
  const auto old = MakeHandler("old", {});
  repository_.Add("type", old);
  EXPECT_THROW(repository_.Load(), NotInitialized);
  EXPECT_TRUE(repository_.GetAll().empty());
  EXPECT_TRUE(repository_.GetAllRev().empty());
  EXPECT_EQ(repository_.GetHandlerById("old"), old);
}

// Too long for the small-string buffer, so that AddressSanitizer detects a dangling key.
TEST_F(Repository, FindsHandlersAfterIdOfHandlerHasChanged) {
  const std::string old_id = "org.example.handler.of.many.letters";
  const std::string new_id = "org.example.handler.of.other.letters";
  const auto handler = MakeHandler(old_id, {"type"});
  const auto other = MakeHandler("org.example.another.handler.altogether", {"type"});
  repository_.Add("type", handler);
  repository_.Add("type", other);

  handler->FromJson(support::StoredForm(new_id));

  EXPECT_EQ(repository_.GetHandlerById(old_id), nullptr);
  EXPECT_EQ(repository_.GetHandlerById(other->Id()), other);
  repository_.Add("type", handler);
  EXPECT_EQ(repository_.GetHandlerById(new_id), handler);
  repository_.Clear();
}

}  // namespace
