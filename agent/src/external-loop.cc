// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "external-loop.h"

#include <Ecore.h>
#include <sys/epoll.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstring>
#include <string>

#include "error.h"

namespace qor::agent {

namespace {

// Iterations in one step, so that a stream of events cannot keep the caller's loop from its other
// work.
constexpr int kMaxIterations = 64;

[[noreturn]] void Fail(const char* what) {
  throw Error(QOR_AGENT_ERROR_IO_ERROR, std::string(what) + ": " + std::strerror(errno));
}

}  // namespace

ExternalLoop* ExternalLoop::current_ = nullptr;

ExternalLoop::~ExternalLoop() {
  if (epoll_ == -1) return;
  ecore_main_loop_select_func_set(select);
  current_ = nullptr;
  close(epoll_);
}

void ExternalLoop::Start() {
  if (epoll_ != -1) return;
  epoll_ = epoll_create1(EPOLL_CLOEXEC);
  if (epoll_ == -1) Fail("cannot create a descriptor for the main loop");
  current_ = this;
  ecore_main_loop_select_func_set(Select);
}

int ExternalLoop::Fd() {
  Start();
  return epoll_;
}

int ExternalLoop::TimeoutMs() {
  Start();
  if (is_stale_ || has_work_) return 0;
  if (!due_) return -1;
  // Rounded up: a call too early would find nothing to do, again and again.
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*due_ - Clock::now()).count();
  return static_cast<int>(std::clamp<std::int64_t>(left, 0, INT_MAX));
}

void ExternalLoop::Step() {
  Start();
  for (int i = 0; i < kMaxIterations; ++i) {
    is_stale_ = false;
    ecore_main_loop_iterate_may_block(1);
    if (!has_work_) break;
  }
  Watch();
}

int ExternalLoop::Select(int count, fd_set* readable, fd_set* writable, fd_set* exceptional,
                         timeval* timeout) {
  current_->Note(count, readable, writable, timeout);
  timeval now = {};
  const int ready = select(count, readable, writable, exceptional, &now);
  const bool waits = timeout == nullptr || timeout->tv_sec != 0 || timeout->tv_usec != 0;
  current_->has_work_ = ready > 0 || !waits;
  return ready;
}

void ExternalLoop::Note(int count, const fd_set* readable, const fd_set* writable,
                        const timeval* timeout) {
  noted_.clear();
  for (int fd = 0; fd < count; ++fd) {
    const unsigned events = (readable != nullptr && FD_ISSET(fd, readable) ? EPOLLIN : 0U) |
                            (writable != nullptr && FD_ISSET(fd, writable) ? EPOLLOUT : 0U);
    if (events != 0) noted_.push_back({fd, events});
  }
  due_.reset();
  if (timeout != nullptr) {
    due_ = Clock::now() + std::chrono::seconds(timeout->tv_sec) +
           std::chrono::microseconds(timeout->tv_usec);
  }
}

void ExternalLoop::Watch() {
  if (noted_ == watched_) return;
  for (const Wait& wait : watched_) {
    // Fails for a descriptor that was closed, which removes it as well.
    epoll_ctl(epoll_, EPOLL_CTL_DEL, wait.fd, nullptr);
  }
  watched_ = noted_;
  for (const Wait& wait : watched_) {
    epoll_event event = {};
    event.events = wait.events;
    event.data.fd = wait.fd;
    if (epoll_ctl(epoll_, EPOLL_CTL_ADD, wait.fd, &event) != 0 && errno != EEXIST) {
      Fail("cannot watch a descriptor of the main loop");
    }
  }
}

}  // namespace qor::agent
