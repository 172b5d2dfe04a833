// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "peers/bare-socket-peer.h"

#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <system_error>

#include "peers/meter.h"

namespace bench {

namespace {

// The framing of the library's messages without their texts. A command contains its uuid twice.
constexpr std::size_t kCommandFraming = 73;
constexpr std::size_t kResultFraming = 55;
constexpr std::size_t kBufferBytes = 1024 * 1024;

// The header of every message.
struct Head {
  std::size_t size;
  std::size_t size_of_answer;
};

bool SendAll(int socket, const std::vector<char>& bytes, std::size_t size) {
  for (std::size_t done = 0; done < size;) {
    const ssize_t sent = send(socket, bytes.data() + done, size - done, MSG_NOSIGNAL);
    if (sent <= 0) return false;
    done += static_cast<std::size_t>(sent);
  }
  return true;
}

// Reads messages from a socket, several per system call if possible.
class Reader {
 public:
  explicit Reader(int socket) : socket_(socket) {}

  // Returns false at the end of the connection.
  bool Next(Head& head) {
    for (;;) {
      if (end_ - begin_ >= sizeof head) {
        std::memcpy(&head, bytes_.data() + begin_, sizeof head);
        if (end_ - begin_ >= head.size) {
          begin_ += head.size;
          if (begin_ == end_) begin_ = end_ = 0;
          return true;
        }
      }
      if (!ReadMore()) return false;
    }
  }

 private:
  bool ReadMore() {
    if (bytes_.size() - end_ < kBufferBytes / 2) {
      std::memmove(bytes_.data(), bytes_.data() + begin_, end_ - begin_);
      end_ -= begin_;
      begin_ = 0;
    }
    const ssize_t received = recv(socket_, bytes_.data() + end_, bytes_.size() - end_, 0);
    if (received <= 0) return false;
    end_ += static_cast<std::size_t>(received);
    return true;
  }

  int socket_;
  std::vector<char> bytes_ = std::vector<char>(kBufferBytes);
  std::size_t begin_ = 0;
  std::size_t end_ = 0;
};

void Answer(int socket) {
  Reader reader(socket);
  std::vector<char> bytes(kBufferBytes);
  for (Head head; reader.Next(head);) {
    const Head answer = {head.size_of_answer, 0};
    std::memcpy(bytes.data(), &answer, sizeof answer);
    if (!SendAll(socket, bytes, answer.size)) return;
  }
}

}  // namespace

BareSocketPeer::BareSocketPeer() {
  int ends[2];
  if (socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) {
    throw std::system_error(errno, std::generic_category(), "socketpair");
  }
  socket_ = ends[0];
  echo_ = std::make_unique<ChildProcess>([&ends] {
    close(ends[0]);
    Answer(ends[1]);
  });
  close(ends[1]);
}

BareSocketPeer::~BareSocketPeer() { close(socket_); }

Cost BareSocketPeer::Measure(const Workload& workload) {
  const Texts texts(workload.payload_bytes);
  const std::size_t uuid_bytes = Texts::Uuid(0).size();
  const Head head = {
      kCommandFraming + 2 * uuid_bytes + texts.request_type.size() + texts.payload.size(),
      kResultFraming + uuid_bytes + texts.payload.size()};
  std::vector<char> bytes(kBufferBytes);
  std::memcpy(bytes.data(), &head, sizeof head);
  Reader reader(socket_);
  Meter meter(workload);
  std::size_t sent = 0;
  for (std::size_t done = 0; done < workload.count; ++done) {
    for (; sent < workload.count && sent < done + workload.in_flight; ++sent) {
      if (!SendAll(socket_, bytes, head.size)) {
        throw std::system_error(errno, std::generic_category(), "bare socket");
      }
    }
    Head answer;
    if (!reader.Next(answer)) throw std::runtime_error("bare socket: connection closed");
    meter.Lap();
  }
  return meter.Finish();
}

}  // namespace bench
