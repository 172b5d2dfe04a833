// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "common/observer.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>

namespace {

using Event = const std::string&;

class Observer : public common::IObserver<Event> {
 public:
  explicit Observer(std::function<void(Event)> action) : action_(std::move(action)) {}
  void Update(Event event) override { action_(event); }

 private:
  std::function<void(Event)> action_;
};

class Subject : public ::testing::Test {
 protected:
  std::shared_ptr<Observer> MakeObserver(int number) {
    return std::make_shared<Observer>([this, number](Event) { notified_.push_back(number); });
  }

  std::unique_ptr<common::Subject<Event>> subject_ = std::make_unique<common::Subject<Event>>();
  std::vector<int> notified_;
};

TEST_F(Subject, NotifiesInOrderOfAttachment) {
  const auto second = MakeObserver(2);
  const auto first = MakeObserver(1);
  subject_->Attach(first);
  subject_->Attach(second);
  subject_->Notify("event");
  EXPECT_EQ(notified_, (std::vector<int>{1, 2}));
}

TEST_F(Subject, NotifiesOncePerAttachment) {
  const auto observer = MakeObserver(1);
  subject_->Attach(observer);
  subject_->Attach(observer);
  subject_->Notify("event");
  EXPECT_EQ(notified_.size(), 2u);
}

TEST_F(Subject, DoesNotKeepObserversAlive) {
  auto destroyed = MakeObserver(1);
  const auto alive = MakeObserver(2);
  subject_->Attach(destroyed);
  subject_->Attach(alive);
  destroyed.reset();
  subject_->Notify("event");
  EXPECT_EQ(notified_, std::vector<int>{2});
}

TEST_F(Subject, AllowsObserverToAttachOthers) {
  const auto late = MakeObserver(2);
  const auto observer = std::make_shared<Observer>([&](Event) {
    notified_.push_back(1);
    for (int i = 0; i < 100; ++i) subject_->Attach(late);
  });
  subject_->Attach(observer);
  subject_->Notify("event");
  EXPECT_EQ(notified_, std::vector<int>{1});
}

TEST_F(Subject, NotifiesOthersWhenObserverAttachesMany) {
  const auto late = MakeObserver(3);
  const auto first = std::make_shared<Observer>([&](Event) {
    notified_.push_back(1);
    for (int i = 0; i < 100; ++i) subject_->Attach(late);
  });
  auto second = MakeObserver(2);
  subject_->Attach(first);
  subject_->Attach(second);
  subject_->Attach(late);
  subject_->Notify("event");
  EXPECT_EQ(notified_, (std::vector<int>{1, 2, 3}));
}

TEST_F(Subject, CanBeDestroyedByObserver) {
  const auto first = std::make_shared<Observer>([&](Event) {
    notified_.push_back(1);
    subject_.reset();
  });
  const auto second = MakeObserver(2);
  subject_->Attach(first);
  subject_->Attach(second);
  subject_->Notify("event");
  EXPECT_EQ(notified_, (std::vector<int>{1, 2}));
}

TEST_F(Subject, SkipsObserverDestroyedByAnother) {
  auto second = MakeObserver(2);
  const auto first = std::make_shared<Observer>([&](Event) { second.reset(); });
  subject_->Attach(first);
  subject_->Attach(second);
  subject_->Notify("event");
  EXPECT_TRUE(notified_.empty());
}

TEST_F(Subject, KeepsObserverAliveDuringNotification) {
  auto observer = MakeObserver(0);
  observer = std::make_shared<Observer>([&](Event event) {
    observer.reset();
    notified_.push_back(static_cast<int>(event.size()));
  });
  subject_->Attach(observer);
  subject_->Notify("event");
  EXPECT_EQ(notified_, std::vector<int>{5});
}

}  // namespace
