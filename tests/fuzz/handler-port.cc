// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler of the SDK and an agent that sends arbitrary bytes.

#include <sys/socket.h>

#include <cstring>
#include <filesystem>
#include <memory>
#include <vector>

#include "agent-link.h"
#include "input.h"
#include "loop.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/rpc-port/handshake.h"
#include "target.h"
#include "wire-bytes.h"

namespace {

using fuzz::Input;
using platform::UniqueFd;
using qor::internal::AgentLink;

constexpr char kAgentId[] = "org.example.agent";

class Session : private AgentLink::Receiver {
 public:
  explicit Session(Input input)
      : input_(input),
        folder_(platform::FolderBelowRoot(std::string("run/ports/") + kAgentId)),
        port_(platform::ListenAt(folder_, "CommandHandler")),
        link_(std::make_unique<AgentLink>(kAgentId, static_cast<AgentLink::Receiver&>(*this), 4,
                                          input_.Below(2) == 0
                                              ? AgentLink::Lifetime::kOnDemand
                                              : AgentLink::Lifetime::kPersistent)) {
    fuzz::Require(static_cast<bool>(port_), "the agent listens");
  }
  ~Session() {
    link_.reset();
    for (UniqueFd* socket : {&main_, &callback_, &port_}) socket->Reset();
    std::filesystem::remove(folder_ + "/CommandHandler");
    fuzz::RunLoop();
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Run() {
    // Bounds the time of an input: each step makes system calls.
    constexpr int kMaxSteps = 24;
    for (int i = 0; i < kMaxSteps && !input_.IsOver(); ++i) {
      Step();
      fuzz::RunLoop();
    }
  }

 private:
  void OnCommand(qor::internal::ReceivedCommand command) override {
    commands_.push_back(command.uuid);
    if (input_.Below(4) == 0) Answer(command.uuid);
  }
  bool HasCommandsInFlight(const std::string&) const override { return !commands_.empty(); }

  void Step() {
    switch (input_.Below(10)) {
      case 0:
        link_->OnFetchRequested();
        break;
      case 1:
        AcceptMain();
        fuzz::Send(main_, Acceptance());
        SendFinalReplies();
        break;
      case 2:
        AcceptMain();
        fuzz::Send(main_, input_.Text());
        SendFinalReplies();
        break;
      case 3:
        callback_ = Accept(true);
        fuzz::Send(callback_, Acceptance());
        break;
      case 4:
        fuzz::Send(callback_, fuzz::FrameWith(input_.Text()));
        break;
      case 5:
        fuzz::Send(callback_, input_.Text());
        break;
      case 6:
        if (!commands_.empty()) Answer(commands_.back());
        break;
      case 7:
        if (is_silent_) link_->RequestExtension("uuid", 1);
        break;
      case 8:
        (input_.Below(2) == 0 ? main_ : callback_).Reset();
        break;
      default:
        link_->OnFetchRequested();
        fuzz::RunLoop();
        AcceptMain();
        fuzz::Send(main_, Acceptance());
        SendFinalReplies();
        fuzz::RunLoop();
        callback_ = Accept(true);
        fuzz::Send(callback_, Acceptance());
    }
  }

  static std::string Acceptance() {
    const auto bytes = platform::rpc::EncodeReply({true, {}, ""});
    return {bytes.begin(), bytes.end()};
  }

  // Accepts the next connection of that kind and drops others, so that the handler never waits for
  // a reply on an abandoned main connection.
  UniqueFd Accept(bool is_callback) {
    using namespace platform::rpc;
    for (;;) {
      UniqueFd socket(accept4(port_.Get(), nullptr, nullptr, SOCK_CLOEXEC | SOCK_NONBLOCK));
      if (!socket) return socket;
      const std::string frame = fuzz::Receive(socket);
      fuzz::Require(frame.size() > kFrameLengthSize, "a handler sends its hello at once");
      const auto hello =
          DecodeHello({reinterpret_cast<const uint8_t*>(frame.data()) + kFrameLengthSize,
                       frame.size() - kFrameLengthSize});
      fuzz::Require(hello.has_value(), "a hello is valid");
      if (hello->is_callback == is_callback) return socket;
    }
  }

  void AcceptMain() {
    main_ = Accept(false);
    is_silent_ = false;
  }

  // Sends all replies in advance and shuts the connection down, because a handler blocks for the
  // reply timeout when a reply is missing.
  void SendFinalReplies() {
    for (size_t count = input_.Below(4); count > 0; --count) {
      fuzz::Send(main_, input_.Below(2) == 0 ? fuzz::FrameWith(input_.Text()) : input_.Text());
    }
    if (!main_) return;
    shutdown(main_.Get(), SHUT_WR);
    is_silent_ = true;
  }

  // Answers only while the handler cannot block for a reply.
  void Answer(const std::string& uuid) {
    if (is_silent_) link_->Send(uuid, {true, "{}"});
  }

  Input input_;
  const std::string folder_;
  UniqueFd port_;
  UniqueFd main_;
  UniqueFd callback_;
  bool is_silent_ = false;
  std::vector<std::string> commands_;
  std::unique_ptr<AgentLink> link_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::ScratchFolder();
  fuzz::StartLoop();
  Session session({data, size});
  session.Run();
  return 0;
}
