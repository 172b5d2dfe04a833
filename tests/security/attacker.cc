// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that follows the protocol only as far as the test commands, without the SDK and without
// the checks of the platform's own client side. Reads commands from standard input and prints the
// outcome of each on standard output, one line each. A single argument is printed first. Two
// arguments are the descriptors of its connections from before an exec.

#include <fcntl.h>
#include <sched.h>
#include <sys/file.h>
#include <sys/ioctl.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <optional>
#include <sstream>
#include <string>
#include <utility>
#include <vector>

#include "frames.h"
#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/package-manager/package-event.h"
#include "platform/linux/rpc-port/handshake.h"
#include "platform/linux/rpc-port/owned-socket.h"
#include "platform/linux/rpc-port/parcel.h"
#include "wire.h"

namespace {

namespace rpc = platform::rpc;
namespace wire = qor::internal::wire;
using platform::UniqueFd;
using security::ReceiveFrame;
using security::Send;
using security::SendAll;

UniqueFd ConnectTo(const std::string& agent) {
  UniqueFd fd = platform::ConnectTo(
      platform::RootPath() + "/" + platform::kPortsFolder + "/" + agent, wire::kPortName);
  if (fd) fcntl(fd.Get(), F_SETFL, 0);
  return fd;
}

wire::Parcel ReceiveParcel(const UniqueFd& fd) {
  const auto frame = ReceiveFrame(fd);
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

// A result that is truncated after its uuid.
wire::Parcel BeginOfResult(const std::string& uuid) {
  rpc_port_parcel_h parcel = nullptr;
  rpc_port_parcel_create(&parcel);
  constexpr int kSendResult = 3;
  rpc_port_parcel_write_int32(parcel, kSendResult);
  rpc_port_parcel_write_string(parcel, uuid.c_str());
  return wire::Parcel(parcel);
}

class Attacker {
 public:
  Attacker() = default;
  Attacker(int main, int callback) : main_(main), callback_(callback) {}

  std::string Execute(const std::string& verb, std::istringstream& arguments) {
    std::string first;
    std::string second;
    arguments >> first >> second;
    // Connections. Arguments: the agent's id, a token in hexadecimal digits.
    if (verb == "handshake") return Handshake(main_ = ConnectTo(first), rpc::Hello{});
    if (verb == "token") return Hex(token_);
    if (verb == "join") return Handshake(callback_ = ConnectTo(first), {true, token_});
    if (verb == "join-with")
      return Handshake(callback_ = ConnectTo(first), {true, TokenOf(second)});
    // Calls. Arguments: a uuid, a text or seconds.
    if (verb == "fetch") return Send(main_, wire::Registration()) ? "sent" : "disconnected";
    if (verb == "result") return Call(wire::Result(first, {true, second}));
    if (verb == "begin-result") return Call(BeginOfResult(first));
    if (verb == "result-and-exit") return ResultAndExit(first);
    if (verb == "ask") return Call(wire::ExtensionRequest(first, std::stod(second)));
    if (verb == "next") return Next();
    if (verb == "waiting") return Waiting();
    if (verb == "read-byte") return ReadByte();
    // Exhaustion of resources. Arguments: the agent's id and a count, or a count.
    if (verb == "open") return Open(first, std::stoul(second), false);
    if (verb == "handshake-many") return Open(first, std::stoul(second), true);
    // Silent connections. Arguments: a folder of sockets below the root, a name in it, a count.
    if (verb == "silent") return Silent(first, second, Number(arguments));
    // Forged package events. Arguments: the listener's name, state, type and package.
    if (verb == "forge-event") {
      const int state = std::stoi(second);
      const int type = static_cast<int>(Number(arguments));
      std::string package;
      arguments >> package;
      return ForgeEvent(first, type, state, package);
    }
    if (verb == "forge-on") return ForgeOn(first, second);
    // Replaces the listener for launch requests of an application; counts the received bytes.
    if (verb == "replace-listener") return ReplaceListener(first);
    if (verb == "received-bytes") return ReceivedBytes();
    if (verb == "close") return Close(std::stoul(first));
    if (verb == "flood") return Flood(std::stoul(first));
    // These return only when the connection is closed.
    if (verb == "flood-on") return FloodOn();
    if (verb == "drip-on") return DripOn();
    if (verb == "ask-on") return AskOn(std::stoul(first));
    if (verb == "connect-on") return ConnectOn(first);
    if (verb == "rejected-on") return RejectedOn(first);
    if (verb == "read-bytes-on") return ReadBytesOn();
    // Locks on files, held until this process exits. Argument: a path.
    if (verb == "hold") return Hold(first);
    if (verb == "hold-bytes") return HoldBytes(first);
    if (verb == "stop") return raise(SIGSTOP) == 0 ? "continued" : "";
    // The process executes another program, while a child keeps the connections and continues to
    // read commands. Arguments: the agent's id, the program.
    if (verb == "exec-parent") return ExecInParent(first, second, false);
    if (verb == "exec-parent-after-hello") return ExecInParent(first, second, true);
    if (verb == "handshake-inherited") return Handshake(main_, rpc::Hello{});
    if (verb == "reply-inherited") return ReceiveReply(main_);
    if (verb == "join-inherited") return Handshake(callback_, {true, token_});
    if (verb == "fork") return Fork();
    // Namespaces. "cover" mounts this program at a path in a new mount namespace and executes it;
    // "enclose" continues in a new PID namespace.
    if (verb == "cover") return Cover(first);
    if (verb == "enclose") return Enclose();
    // Arguments: a user id; a program and whether it inherits the connections.
    if (verb == "become") return setuid(static_cast<uid_t>(std::stoul(first))) == 0 ? "became" : "";
    if (verb == "exec") return Exec(first, second == "with-connections");
    return "unknown verb";
  }

 private:
  std::string Handshake(const UniqueFd& fd, const rpc::Hello& hello) {
    if (!fd) return std::string("no connection: ") + strerrordesc_np(errno);
    Send(fd, rpc::EncodeHello(hello));
    return ReceiveReply(fd);
  }

  std::string ReceiveReply(const UniqueFd& fd) {
    const auto frame = ReceiveFrame(fd);
    const auto answer = rpc::DecodeReply({frame.data(), frame.size()});
    if (!answer) return "disconnected";
    if (!answer->is_accepted) return "rejected: " + answer->cause;
    token_ = answer->token;
    return "accepted";
  }

  std::string Call(const wire::Parcel& call) {
    if (!Send(main_, call)) return "disconnected";
    const wire::Parcel parcel = ReceiveParcel(main_);
    const auto reply = parcel ? wire::ReadReply(parcel.get()) : std::nullopt;
    if (!reply) return "disconnected";
    return *reply ? "reply true" : "reply false";
  }

  std::string ResultAndExit(const std::string& uuid) {
    Send(main_, wire::Result(uuid, {true, "last"}));
    _exit(0);
  }

  std::string Next() {
    const wire::Parcel parcel = ReceiveParcel(callback_);
    const auto command = parcel ? wire::ReadDelivery(parcel.get()) : std::nullopt;
    return command ? command->uuid + " " + command->type : "disconnected";
  }

  // Returns the number of unread bytes of the callback connection.
  std::string Waiting() {
    int count = -1;
    ioctl(callback_.Get(), FIONREAD, &count);
    return std::to_string(count);
  }

  // Returns the number of bytes read.
  std::string ReadByte() {
    uint8_t byte;
    return std::to_string(recv(callback_.Get(), &byte, 1, MSG_DONTWAIT));
  }

  std::string ReadBytesOn() {
    uint8_t byte;
    while (recv(callback_.Get(), &byte, 1, 0) > 0) {
    }
    return "disconnected";
  }

  std::string Open(const std::string& agent, size_t count, bool completes_handshake) {
    size_t accepted = 0;
    for (size_t i = 0; i < count; ++i) {
      UniqueFd fd = ConnectTo(agent);
      if (!fd) return std::string("no connection: ") + strerrordesc_np(errno);
      if (completes_handshake && Handshake(fd, rpc::Hello{}) == "accepted") ++accepted;
      connections_.push_back(std::move(fd));
    }
    return completes_handshake ? std::to_string(accepted) + " accepted" : "opened";
  }

  static size_t Number(std::istringstream& arguments) {
    size_t number = 0;
    arguments >> number;
    return number;
  }

  std::string Silent(const std::string& folder, const std::string& name, size_t count) {
    for (size_t i = 0; i < count; ++i) {
      UniqueFd fd = platform::ConnectTo(platform::RootPath() + "/" + folder, name);
      // The backlog is full: the test runs the listener's main loop.
      if (!fd && errno == EAGAIN) return std::to_string(i) + " opened";
      if (!fd) return std::string("no connection: ") + strerrordesc_np(errno);
      connections_.push_back(std::move(fd));
    }
    return "opened";
  }

  // Returns when the listener has read the event.
  static std::string ForgeEvent(const std::string& listener, int type, int state,
                                const std::string& package) {
    platform::PackageEvent event;
    event.type = static_cast<package_manager_event_type_e>(type);
    event.state = static_cast<package_manager_event_state_e>(state);
    event.package_id = package;
    const UniqueFd fd =
        platform::ConnectTo(platform::RootPath() + "/" + platform::kEventSocketFolder, listener);
    if (!fd) return std::string("no connection: ") + strerrordesc_np(errno);
    platform::SendMessage(fd.Get(), platform::EncodeEvent(event), std::chrono::seconds(10));
    fcntl(fd.Get(), F_SETFL, 0);
    uint8_t byte;
    return recv(fd.Get(), &byte, 1, 0) == 1 ? "acknowledged" : "not acknowledged";
  }

  static std::string ForgeOn(const std::string& listener, const std::string& package) {
    while (ForgeEvent(listener, PACKAGE_MANAGER_EVENT_TYPE_UNINSTALL, 0, package) ==
           "acknowledged") {
    }
    return "disconnected";
  }

  std::string ReplaceListener(const std::string& app_id) {
    const std::string folder = platform::FolderBelowRoot(platform::kApplicationSocketFolder);
    unlink((folder + "/" + app_id).c_str());
    listener_ = platform::ListenAt(folder, app_id);
    return listener_ ? "taken" : std::string("not taken: ") + strerrordesc_np(errno);
  }

  // Returns the number of bytes sent to the replaced listener.
  std::string ReceivedBytes() {
    ssize_t bytes = 0;
    for (;;) {
      const UniqueFd fd(accept(listener_.Get(), nullptr, nullptr));
      if (!fd) return std::to_string(bytes);
      uint8_t some[1024];
      bytes += std::max<ssize_t>(recv(fd.Get(), some, sizeof some, MSG_DONTWAIT), 0);
    }
  }

  // Closes the oldest connections.
  std::string Close(size_t count) {
    connections_.erase(connections_.begin(), connections_.begin() + static_cast<ptrdiff_t>(count));
    return "closed";
  }

  // Sends calls in as few segments as possible, and never reads the replies.
  std::string Flood(size_t count) {
    return Send(main_, Repeated(wire::ExtensionRequest("", 0), count)) ? "sent" : "disconnected";
  }

  static std::vector<uint8_t> Repeated(const wire::Parcel& call, size_t count) {
    const platform::ByteView frame = static_cast<rpc::Parcel*>(call.get())->Frame();
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < count; ++i) {
      bytes.insert(bytes.end(), frame.data, frame.data + frame.size);
    }
    return bytes;
  }

  // Discards the replies received so far.
  void Drain() {
    static uint8_t bytes[64 * 1024];
    while (recv(main_.Get(), bytes, sizeof bytes, MSG_DONTWAIT) > 0) {
    }
  }

  std::string FloodOn() {
    const auto bytes = Repeated(wire::ExtensionRequest("", 0), 1000);
    while (Send(main_, bytes)) Drain();
    return "disconnected";
  }

  // The same, one byte at a time.
  std::string DripOn() {
    const auto bytes = Repeated(wire::ExtensionRequest("", 0), 1);
    for (size_t i = 0; SendAll(main_, &bytes[i], 1); i = (i + 1) % bytes.size()) Drain();
    return "disconnected";
  }

  std::string AskOn(size_t size) {
    const wire::Parcel call = wire::ExtensionRequest(std::string(size, 'u'), 0);
    while (Send(main_, call)) Drain();
    return "disconnected";
  }

  std::string ConnectOn(const std::string& agent) {
    for (UniqueFd fd;; Handshake(fd, rpc::Hello{})) {
      if (!(fd = ConnectTo(agent))) return "disconnected";
    }
  }

  // Offers a token that belongs to no main connection.
  std::string RejectedOn(const std::string& agent) {
    for (;;) {
      const std::string answer = Handshake(ConnectTo(agent), {true, rpc::Token{}});
      if (answer.rfind("rejected", 0) != 0) return answer;
    }
  }

  // The process executes another program, which reads from an idle pipe.
  std::string ExecInParent(const std::string& agent, const std::string& program,
                           bool completes_handshake) {
    main_ = ConnectTo(agent);
    callback_ = ConnectTo(agent);
    if (completes_handshake) Send(main_, rpc::EncodeHello(rpc::Hello{}));
    int executed[2];
    int idle[2];
    if (pipe2(executed, O_CLOEXEC) != 0 || pipe2(idle, O_CLOEXEC) != 0) return "no pipe";
    if (fork() != 0) {
      dup2(idle[0], STDIN_FILENO);
      execl(program.c_str(), program.c_str(), nullptr);
      _exit(127);
    }
    close(executed[1]);
    char nothing;
    return read(executed[0], &nothing, 1) == 0 ? "executed" : "not executed";
  }

  // The child continues to read commands, while the parent waits for it.
  std::string Fork() {
    const pid_t child = fork();
    if (child == 0) return "forked";
    waitpid(child, nullptr, 0);
    _exit(0);
  }

  // Creates a new user namespace as well if the process lacks the privilege.
  static bool Unshare(int flags) {
    return unshare(flags) == 0 || unshare(flags | CLONE_NEWUSER) == 0;
  }

  std::string Cover(const std::string& path) {
    if (!Unshare(CLONE_NEWNS)) return std::string("no namespace: ") + strerrordesc_np(errno);
    if (mount("none", "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount(std::filesystem::read_symlink("/proc/self/exe").c_str(), path.c_str(), nullptr,
              MS_BIND, nullptr) != 0) {
      return std::string("not covered: ") + strerrordesc_np(errno);
    }
    execl(path.c_str(), path.c_str(), "covered", nullptr);
    return std::string("not executed: ") + strerrordesc_np(errno);
  }

  std::string Enclose() {
    if (!Unshare(CLONE_NEWPID)) return std::string("no namespace: ") + strerrordesc_np(errno);
    return Fork();
  }

  // Opens or creates a file.
  int Keep(const std::string& path) {
    held_.emplace_back(open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    return held_.back().Get();
  }

  std::string Hold(const std::string& path) {
    return flock(Keep(path), LOCK_EX | LOCK_NB) == 0 ? "held" : strerrordesc_np(errno);
  }

  // Locks the whole file, including bytes written later.
  std::string HoldBytes(const std::string& path) {
    struct flock lock {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    return fcntl(Keep(path), F_SETLK, &lock) == 0 ? "held" : strerrordesc_np(errno);
  }

  std::string Exec(const std::string& path, bool with_connections) {
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
  std::vector<UniqueFd> connections_;
  UniqueFd listener_;
  std::vector<UniqueFd> held_;
};

}  // namespace

int main(int argc, char** argv) {
  rlimit limit{};
  getrlimit(RLIMIT_NOFILE, &limit);
  limit.rlim_cur = limit.rlim_max;
  setrlimit(RLIMIT_NOFILE, &limit);
  Attacker attacker;
  if (argc == 2) std::cout << argv[1] << std::endl;
  if (argc == 3) {
    const int main_fd = std::atoi(argv[1]);
    const int callback_fd = std::atoi(argv[2]);
    const bool has_them = fcntl(main_fd, F_GETFD) >= 0;
    if (has_them) attacker = Attacker(main_fd, callback_fd);
    std::cout << (has_them ? "with connections" : "without connections") << std::endl;
  }
  for (std::string line; std::getline(std::cin, line);) {
    std::istringstream arguments(line);
    std::string verb;
    arguments >> verb;
    std::cout << attacker.Execute(verb, arguments) << std::endl;
  }
  return 0;
}
