// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_COMMON_OBSERVER_H_
#define QOR_SRC_COMMON_OBSERVER_H_

#include <memory>
#include <utility>
#include <vector>

namespace common {

template <typename T>
class IObserver {
 public:
  virtual ~IObserver() = default;
  virtual void Update(T event) = 0;
};

// Notifies observers of events. Holds weak references: destroyed observers are skipped.
template <typename T>
class Subject {
 public:
  virtual ~Subject() = default;

  // Without a check for duplicates: an observer that is attached twice is notified twice.
  void Attach(std::weak_ptr<IObserver<T>> observer) { observers_.push_back(std::move(observer)); }

  // Calls the live observers in the order of attachment, on the calling thread. An observer may
  // attach others or destroy this subject.
  void Notify(T event) {
    const auto observers = observers_;
    for (const auto& weak : observers) {
      if (const auto observer = weak.lock()) observer->Update(event);
    }
  }

 private:
  std::vector<std::weak_ptr<IObserver<T>>> observers_;
};

}  // namespace common

#endif
