// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "support/worker.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <string>
#include <system_error>

namespace bench {

namespace {

constexpr std::size_t kMaxMessageBytes = 64 * 1024;
constexpr char kNumbers = 'n';
constexpr char kError = 'e';

// The socket is of type SOCK_SEQPACKET, which preserves message boundaries.
void Write(int socket, char kind, const void* data, std::size_t size) {
  std::string message(1, kind);
  message.append(static_cast<const char*>(data), size);
  send(socket, message.data(), message.size(), MSG_NOSIGNAL);
}

void Write(int socket, const Numbers& numbers) {
  Write(socket, kNumbers, numbers.data(), numbers.size() * sizeof(double));
}

// Returns an empty string at the end of the connection.
std::string Read(int socket) {
  std::string message(kMaxMessageBytes, '\0');
  const ssize_t size = recv(socket, message.data(), message.size(), 0);
  message.resize(size > 0 ? static_cast<std::size_t>(size) : 0);
  return message;
}

Numbers NumbersOf(const std::string& message) {
  Numbers numbers((message.size() - 1) / sizeof(double));
  std::memcpy(numbers.data(), message.data() + 1, numbers.size() * sizeof(double));
  return numbers;
}

void Serve(int socket, const std::function<Worker::Task()>& make) {
  try {
    const Worker::Task task = make();
    for (;;) {
      const std::string request = Read(socket);
      if (request.empty()) return;
      Write(socket, task(NumbersOf(request)));
    }
  } catch (const std::exception& error) {
    Write(socket, kError, error.what(), std::strlen(error.what()));
  }
}

}  // namespace

Worker::Worker(const std::function<Task()>& make) {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  socket_ = ends[0];
  process_ = std::make_unique<ChildProcess>([&] {
    close(ends[0]);
    Serve(ends[1], make);
  });
  close(ends[1]);
}

Worker::~Worker() { close(socket_); }

void Worker::Send(const Numbers& request) { Write(socket_, request); }

Numbers Worker::Receive() {
  const std::string answer = Read(socket_);
  if (answer.empty()) throw std::runtime_error("a measuring process exited without a reply");
  if (answer[0] == kError) throw std::runtime_error(answer.substr(1));
  return NumbersOf(answer);
}

Numbers Worker::Call(const Numbers& request) {
  Send(request);
  return Receive();
}

Numbers RunInProcess(const std::function<Numbers()>& task) {
  return Worker([&task] { return [&task](const Numbers&) { return task(); }; }).Call({});
}

}  // namespace bench
