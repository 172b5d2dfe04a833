// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that follows the protocol only as far as it is told to, without the SDK and without the
// checks of the platform's own client side. Reads commands from standard input and tells what came
// of each on standard output, a line each. With two descriptors as arguments it takes these for the
// connections that it had before it executed itself.

#include <fcntl.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/greeting.h"
#include "platform/linux/rpc-port/owned-socket.h"
#include "platform/linux/rpc-port/parcel.h"
#include "wire.h"

namespace {

namespace rpc = platform::rpc;
namespace wire = qor::internal::wire;
using platform::UniqueFd;

UniqueFd ConnectTo(const std::string& agent) {
  UniqueFd fd = platform::ConnectTo(platform::RootPath() + "/" + rpc::kPortsFolder + "/" + agent,
                                    wire::kPortName);
  if (fd) fcntl(fd.Get(), F_SETFL, 0);
  return fd;
}

bool SendAll(const UniqueFd& fd, const uint8_t* data, size_t size) {
  for (size_t done = 0; done < size;) {
    const ssize_t count = send(fd.Get(), data + done, size - done, MSG_NOSIGNAL);
    if (count <= 0) return false;
    done += static_cast<size_t>(count);
  }
  return true;
}

bool Send(const UniqueFd& fd, const std::vector<uint8_t>& frame) {
  return SendAll(fd, frame.data(), frame.size());
}

bool Send(const UniqueFd& fd, const wire::Parcel& parcel) {
  const rpc::ByteView frame = static_cast<rpc::Parcel*>(parcel.get())->Frame();
  return SendAll(fd, frame.data, frame.size);
}

bool ReceiveAll(const UniqueFd& fd, void* data, size_t size) {
  return size == 0 || recv(fd.Get(), data, size, MSG_WAITALL) == static_cast<ssize_t>(size);
}

// The next frame without its length; empty at the end of the connection.
std::vector<uint8_t> Receive(const UniqueFd& fd) {
  uint32_t length = 0;
  if (!ReceiveAll(fd, &length, sizeof length)) return {};
  std::vector<uint8_t> frame(length);
  if (!ReceiveAll(fd, frame.data(), frame.size())) return {};
  return frame;
}

wire::Parcel ReceiveParcel(const UniqueFd& fd) {
  const auto frame = Receive(fd);
  rpc_port_parcel_h parcel = nullptr;
  rpc_port_parcel_create_from_raw(&parcel, frame.data(), static_cast<unsigned>(frame.size()));
  return wire::Parcel(parcel);
}

std::string Hex(const rpc::Token& token) {
  std::string text;
  for (const uint8_t byte : token) {
    text += "0123456789abcdef"[byte / 16];
    text += "0123456789abcdef"[byte % 16];
  }
  return text;
}

rpc::Token TokenOf(const std::string& hex) {
  rpc::Token token{};
  for (size_t i = 0; i < token.size() && 2 * i + 1 < hex.size(); ++i) {
    token[i] = static_cast<uint8_t>(std::stoi(hex.substr(2 * i, 2), nullptr, 16));
  }
  return token;
}

class Attacker {
 public:
  Attacker() = default;
  Attacker(int main, int callback) : main_(main), callback_(callback) {}

  std::string Obey(const std::string& verb, std::istringstream& words) {
    std::string first;
    std::string second;
    words >> first >> second;
    // Connecting: the agent's id; a token in hexadecimal digits.
    if (verb == "greet") return Greet(main_ = ConnectTo(first), rpc::Hello{});
    if (verb == "token") return Hex(token_);
    if (verb == "join") return Greet(callback_ = ConnectTo(first), {true, token_});
    if (verb == "join-with") return Greet(callback_ = ConnectTo(first), {true, TokenOf(second)});
    // Speaking: a uuid, a text or seconds.
    if (verb == "fetch") return Send(main_, wire::Registration()) ? "sent" : "gone";
    if (verb == "result") return Call(wire::Result(first, {true, second}));
    if (verb == "ask") return Call(wire::ExtensionRequest(first, std::stod(second)));
    if (verb == "next") return Next();
    if (verb == "waiting") return Waiting();
    if (verb == "bite") return Bite();
    // Using things up: the agent's id and how many, or how many.
    if (verb == "open") return Open(first, std::stoul(second), false);
    if (verb == "greet-often") return Open(first, std::stoul(second), true);
    if (verb == "close") return Close(std::stoul(first));
    if (verb == "flood") return Flood(std::stoul(first));
    // Without end.
    if (verb == "flood-on") return FloodOn();
    if (verb == "drip-on") return DripOn();
    if (verb == "ask-on") return AskOn(std::stoul(first));
    if (verb == "connect-on") return ConnectOn(first);
    if (verb == "bite-on") return BiteOn();
    // Files: a path. Held until this process ends.
    if (verb == "hold") return Hold(first);
    if (verb == "hold-bytes") return HoldBytes(first);
    if (verb == "stop") return raise(SIGSTOP) == 0 ? "continued" : "";
    // Becoming another user: its number. Another program: its path, and whether the connections go
    // with it.
    if (verb == "become") return setuid(static_cast<uid_t>(std::stoul(first))) == 0 ? "became" : "";
    if (verb == "exec") return Execute(first, second == "with-connections");
    return "unknown verb";
  }

 private:
  std::string Greet(const UniqueFd& fd, const rpc::Hello& hello) {
    if (!fd) return std::string("no connection: ") + strerrordesc_np(errno);
    Send(fd, rpc::EncodeHello(hello));
    const auto frame = Receive(fd);
    const auto answer = rpc::DecodeAnswer({frame.data(), frame.size()});
    if (!answer) return "gone";
    if (!answer->is_accepted) return "refused: " + answer->cause;
    token_ = answer->token;
    return "accepted";
  }

  std::string Call(const wire::Parcel& call) {
    if (!Send(main_, call)) return "gone";
    const wire::Parcel parcel = ReceiveParcel(main_);
    const auto reply = parcel ? wire::ReadReply(parcel.get()) : std::nullopt;
    if (!reply) return "gone";
    return *reply ? "told true" : "told false";
  }

  std::string Next() {
    const wire::Parcel parcel = ReceiveParcel(callback_);
    const auto command = parcel ? wire::ReadDelivery(parcel.get()) : std::nullopt;
    return command ? command->uuid + " " + command->type : "gone";
  }

  // How many bytes were sent to it that it has not read.
  std::string Waiting() {
    int count = -1;
    ioctl(callback_.Get(), FIONREAD, &count);
    return std::to_string(count);
  }

  // How many bytes of one it has read.
  std::string Bite() {
    uint8_t byte;
    return std::to_string(recv(callback_.Get(), &byte, 1, MSG_DONTWAIT));
  }

  std::string BiteOn() {
    uint8_t byte;
    while (recv(callback_.Get(), &byte, 1, 0) > 0) {
    }
    return "gone";
  }

  std::string Open(const std::string& agent, size_t count, bool greets) {
    size_t accepted = 0;
    for (size_t i = 0; i < count; ++i) {
      UniqueFd fd = ConnectTo(agent);
      if (!fd) return std::string("no connection: ") + strerrordesc_np(errno);
      if (greets && Greet(fd, rpc::Hello{}) == "accepted") ++accepted;
      crowd_.push_back(std::move(fd));
    }
    return greets ? std::to_string(accepted) + " accepted" : "opened";
  }

  // The oldest of them.
  std::string Close(size_t count) {
    crowd_.erase(crowd_.begin(), crowd_.begin() + static_cast<ptrdiff_t>(count));
    return "closed";
  }

  // Calls whose replies are never read, all in as few pieces as possible.
  std::string Flood(size_t count) {
    return Send(main_, Repeated(wire::ExtensionRequest("", 0), count)) ? "sent" : "gone";
  }

  static std::vector<uint8_t> Repeated(const wire::Parcel& call, size_t count) {
    const rpc::ByteView frame = static_cast<rpc::Parcel*>(call.get())->Frame();
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < count; ++i) {
      bytes.insert(bytes.end(), frame.data, frame.data + frame.size);
    }
    return bytes;
  }

  // Throws the replies away that are there.
  void Drain() {
    static uint8_t bytes[64 * 1024];
    while (recv(main_.Get(), bytes, sizeof bytes, MSG_DONTWAIT) > 0) {
    }
  }

  std::string FloodOn() {
    const auto bytes = Repeated(wire::ExtensionRequest("", 0), 1000);
    while (Send(main_, bytes)) Drain();
    return "gone";
  }

  // The same a byte at a time.
  std::string DripOn() {
    const auto bytes = Repeated(wire::ExtensionRequest("", 0), 1);
    for (size_t i = 0; SendAll(main_, &bytes[i], 1); i = (i + 1) % bytes.size()) Drain();
    return "gone";
  }

  std::string AskOn(size_t size) {
    const wire::Parcel call = wire::ExtensionRequest(std::string(size, 'u'), 0);
    while (Send(main_, call)) Drain();
    return "gone";
  }

  std::string ConnectOn(const std::string& agent) {
    for (UniqueFd fd;; Greet(fd, rpc::Hello{})) {
      if (!(fd = ConnectTo(agent))) return "gone";
    }
  }

  // Opens a file, which is made when it is missing.
  int Keep(const std::string& path) {
    held_.emplace_back(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    return held_.back().Get();
  }

  std::string Hold(const std::string& path) {
    return flock(Keep(path), LOCK_EX | LOCK_NB) == 0 ? "held" : strerrordesc_np(errno);
  }

  // From the first to whatever is ever written.
  std::string HoldBytes(const std::string& path) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(Keep(path), F_SETLK, &lock) == 0 ? "held" : strerrordesc_np(errno);
  }

  std::string Execute(const std::string& path, bool with_connections) {
    for (const UniqueFd* fd : {&main_, &callback_}) {
      if (with_connections) fcntl(fd->Get(), F_SETFD, 0);
    }
    execl(path.c_str(), path.c_str(), std::to_string(main_.Get()).c_str(),
          std::to_string(callback_.Get()).c_str(), nullptr);
    return std::string("not executed: ") + strerrordesc_np(errno);
  }

  UniqueFd main_;
  UniqueFd callback_;
  rpc::Token token_{};
  std::vector<UniqueFd> crowd_;
  std::vector<UniqueFd> held_;
};

}  // namespace

int main(int argc, char** argv) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  Attacker attacker;
  if (argc == 3) {
    const int main_fd = std::atoi(argv[1]);
    const int callback_fd = std::atoi(argv[2]);
    const bool has_them = fcntl(main_fd, F_GETFD) >= 0 && fcntl(callback_fd, F_GETFD) >= 0;
    if (has_them) attacker = Attacker(main_fd, callback_fd);
    std::cout << (has_them ? "with connections" : "without connections") << std::endl;
  }
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream words(line);
    std::string verb;
    words >> verb;
    std::cout << attacker.Obey(verb, words) << std::endl;
  }
  return 0;
}
