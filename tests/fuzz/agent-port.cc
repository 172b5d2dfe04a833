// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A running agent (the library over the Linux platform) and a handler that sends arbitrary bytes.
// One process plays both parts: an installed application that connects to itself.

#include <sys/socket.h>
#include <unistd.h>

#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <utility>
#include <vector>

#include "input.h"
#include "loop.h"
#include "platform/linux/app-control/launch-protocol.h"
#include "platform/linux/common/message.h"
#include "platform/linux/common/package-database.h"
#include "platform/linux/common/root-folder.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/package-manager/package-event.h"
#include "platform/linux/rpc-port/handshake.h"
#include "qor_handler_manager.h"
#include "target.h"
#include "wire-bytes.h"

namespace {

namespace fs = std::filesystem;
using fuzz::Input;
using platform::UniqueFd;

constexpr char kPackageId[] = "org.example.fuzz.package";
constexpr char kAppId[] = "org.example.fuzz";
constexpr size_t kTypes = 3;

std::string TypeNumber(size_t number) { return "type." + std::to_string(number); }

void InstallThisProcess() {
  platform::PackageRecord package;
  package.id = kPackageId;
  package.version = "1.0.0";
  package.root_path = fuzz::ScratchFolder() + "/package";
  package.privileges = {"http://tizen.org/privilege/datasharing",
                        "http://tizen.org/privilege/appmanager.launch"};
  platform::ApplicationRecord application;
  application.id = kAppId;
  application.executable = fs::canonical("/proc/self/exe");
  application.metadata = {
      {"http://tizen.org/iot/metadata/qor/command-handler", "res/handler.yaml"}};
  package.applications = {application};
  platform::StorePackage(package);
  std::string types = "request-types:\n";
  for (size_t i = 0; i < kTypes; ++i) types += "  - " + TypeNumber(i) + "\n";
  fuzz::WriteFile("package/res/handler.yaml", types);
}

// The socket for launch requests. While it exists, the platform considers the application running.
const UniqueFd& LaunchSocket() {
  static const UniqueFd socket =
      platform::ListenAt(platform::FolderBelowRoot(platform::kApplicationSocketFolder), kAppId);
  return socket;
}

void AcceptLaunchRequests() {
  while (const auto connection =
             UniqueFd(accept4(LaunchSocket().Get(), nullptr, nullptr, SOCK_CLOEXEC))) {
    platform::Acknowledge(connection.Get());
  }
}

class Session {
 public:
  explicit Session(Input input) : input_(input) {}
  ~Session() {
    for (UniqueFd* socket : {&main_, &callback_, &raw_}) socket->Reset();
    fuzz::RunLoop();
    qor_handler_manager_shutdown();
    fuzz::RunLoop();
    AcceptLaunchRequests();
    fuzz::RunLoop();
  }
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  void Run() {
    Start();
    // Bounds the time of an input: each step makes system calls.
    constexpr int kMaxSteps = 24;
    for (int i = 0; i < kMaxSteps && !input_.IsOver(); ++i) {
      Step();
      fuzz::RunLoop();
      AcceptLaunchRequests();
    }
  }

 private:
  void Start() {
    qor_handler_manager_set_response_cb(
        [](const char*, qor_request_status_e, const char* result, int result_size,
           const char* error, int error_size, void* self) {
          fuzz::Require(std::strlen(result) == static_cast<size_t>(result_size) &&
                            std::strlen(error) == static_cast<size_t>(error_size),
                        "a text has the announced size");
          static_cast<Session*>(self)->React();
        },
        this);
    qor_handler_manager_set_negotiate_request_cb(
        [](const char*, const char*, double seconds, void* self) {
          fuzz::Require(!std::isnan(seconds), "the requested time is a number");
          static_cast<Session*>(self)->React();
          return static_cast<int>(static_cast<Session*>(self)->input_.Below(2));
        },
        this);
    qor_handler_manager_set_handler_update_cb(
        [](qor_handler_update_type_e, qor_handler_manager_handler_info_h, void* self) {
          static_cast<Session*>(self)->React();
        },
        this);
  }

  // Actions of the client inside a callback.
  void React() {
    switch (input_.Below(8)) {
      case 0:
        qor_handler_manager_shutdown();
        break;
      case 1:
        SendCommand();
        break;
      case 2:
        main_.Reset();
        break;
      default:
        break;
    }
  }

  void Step() {
    switch (input_.Below(11)) {
      case 0:
        Join();
        break;
      case 1:
        SendCommand();
        break;
      case 2:
        fuzz::Send(main_, fuzz::FrameWith(input_.Text()));
        break;
      case 3:
        fuzz::Send(main_, input_.Text());
        break;
      case 4:
        fuzz::Send(callback_, input_.Text());
        break;
      case 5:
        raw_ = Connect();
        fuzz::Send(raw_, input_.Text());
        break;
      case 6:
        fuzz::Receive(input_.Below(2) == 0 ? main_ : callback_);
        break;
      case 7:
        (input_.Below(2) == 0 ? main_ : callback_).Reset();
        break;
      case 8:
        SendLongParcel();
        break;
      case 9:
        SendEvent();
        break;
      default:
        qor_handler_manager_shutdown();
        Start();
    }
  }

  // Exceeds the size from which parcels are moved instead of copied.
  void SendLongParcel() {
    constexpr size_t kLong = 5000;
    std::string values = input_.Text();
    while (!values.empty() && values.size() < kLong) values += values;
    fuzz::Send(main_, fuzz::FrameWith(values));
  }

  // Sends a package event as an installer does, but does not wait for the acknowledgement.
  void SendEvent() {
    platform::PackageEvent event;
    event.package_id = input_.Below(4) == 0 ? "org.example.other" : kPackageId;
    event.type = static_cast<package_manager_event_type_e>(input_.Below(3));
    event.state = static_cast<package_manager_event_state_e>(input_.Below(4));
    std::vector<uint8_t> bytes = platform::EncodeEvent(event);
    if (input_.Below(4) == 0) {
      const std::string text = input_.Text();
      bytes.assign(text.begin(), text.end());
    }
    const std::string folder = platform::FolderBelowRoot(platform::kEventSocketFolder);
    for (const auto& listener : fs::directory_iterator(folder)) {
      const UniqueFd socket = platform::ConnectTo(folder, listener.path().filename());
      if (socket) platform::SendMessage(socket.Get(), bytes, std::chrono::seconds(1));
      fuzz::RunLoop();
    }
  }

  static UniqueFd Connect() {
    return platform::ConnectTo(platform::RootPath() + "/run/ports/" + kAppId, "CommandHandler");
  }

  static std::string TextOf(const std::vector<uint8_t>& bytes) {
    return {bytes.begin(), bytes.end()};
  }

  // Performs a valid handshake.
  void Join() {
    using namespace platform::rpc;
    main_ = Connect();
    fuzz::Send(main_, TextOf(EncodeHello(Hello{})));
    fuzz::RunLoop();
    const std::string answer = fuzz::Receive(main_);
    if (answer.size() <= kFrameLengthSize) return;
    const auto accepted =
        DecodeReply({reinterpret_cast<const uint8_t*>(answer.data()) + kFrameLengthSize,
                     answer.size() - kFrameLengthSize});
    fuzz::Require(accepted && accepted->is_accepted, "a handler is accepted");
    callback_ = Connect();
    fuzz::Send(callback_, TextOf(EncodeHello({true, accepted->token})));
  }

  void SendCommand() {
    const std::string uuid = "u" + std::to_string(input_.Below(4));
    const std::string payload = input_.Text();
    const std::string type = TypeNumber(input_.Below(kTypes + 1));
    qor_handler_manager_send_command(uuid.c_str(), type.c_str(), payload.c_str(),
                                     static_cast<int>(std::strlen(payload.c_str())), 1700000000);
  }

  Input input_;
  UniqueFd main_;
  UniqueFd callback_;
  // A connection without a handshake.
  UniqueFd raw_;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  static const bool is_ready = [] {
    InstallThisProcess();
    fuzz::StartLoop();
    return static_cast<bool>(LaunchSocket());
  }();
  fuzz::Require(is_ready, "launch requests have a socket");
  Session({data, size}).Run();
  return 0;
}
