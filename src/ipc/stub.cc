// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ipc/stub.h"

#include <dlog.h>
#include <tizen.h>

#include <cstring>
#include <exception>
#include <utility>

#include "common/logging.h"
#include "common/platform-names.h"

#define STUB_ERROR(format, ...)                                                               \
  dlog_print(DLOG_ERROR, "RPC_PORT_STUB", "%s: %s(%d) > " format, common::BaseName(__FILE__), \
             __FUNCTION__, __LINE__, ##__VA_ARGS__)

namespace rpc_port {
namespace stub {
namespace stub {

namespace {

constexpr char kPortName[] = "CommandHandler";
// Protocol version of the interface definition; the header tag of every reply.
constexpr char kReplyTag[] = "1.10.4";

// First field of every parcel. Result and Callback are sent by the stub, the others received.
enum class MethodId {
  Result = 0,
  Callback = 1,
  SetCommandReceivedCb = 2,
  SendResult = 3,
  NegotiateTimeout = 4,
};

enum class DelegateId { OnCommandReceived = 1 };

class Parcel {
 public:
  Parcel() { Init(rpc_port_parcel_create(&handle_)); }
  // Reads the next parcel from a port. Error() must be checked before use.
  explicit Parcel(rpc_port_h port) { Init(rpc_port_parcel_create_from_port(&handle_, port)); }
  Parcel(const Parcel&) = delete;
  Parcel& operator=(const Parcel&) = delete;
  ~Parcel() {
    if (handle_ != nullptr) rpc_port_parcel_destroy(handle_);
  }

  int Error() const { return error_; }
  rpc_port_parcel_h Get() const { return handle_; }

 private:
  // The platform leaves the handle undefined after an error.
  void Init(int error) {
    error_ = error;
    if (error != RPC_PORT_ERROR_NONE) handle_ = nullptr;
  }

  rpc_port_parcel_h handle_ = nullptr;
  int error_ = RPC_PORT_ERROR_NONE;
};

int SequenceNumberOf(const Parcel& request) {
  rpc_port_parcel_header_h header = nullptr;
  int number = 0;
  if (rpc_port_parcel_get_header(request.Get(), &header) != RPC_PORT_ERROR_NONE ||
      rpc_port_parcel_header_get_seq_num(header, &number) != RPC_PORT_ERROR_NONE) {
    return -1;
  }
  return number;
}

void SetReplyHeader(const Parcel& reply, int sequence_number) {
  rpc_port_parcel_header_h header = nullptr;
  if (rpc_port_parcel_get_header(reply.Get(), &header) != RPC_PORT_ERROR_NONE) return;
  rpc_port_parcel_header_set_tag(header, kReplyTag);
  rpc_port_parcel_header_set_seq_num(header, sequence_number);
}

int SendReply(const Parcel& reply, bool value, rpc_port_h port) {
  rpc_port_parcel_write_int32(reply.Get(), static_cast<int>(MethodId::Result));
  rpc_port_parcel_write_bool(reply.Get(), value);
  return rpc_port_parcel_send(reply.Get(), port);
}

}  // namespace

std::atomic<int> CommandHandler::CallbackBase::seq_num_{0};

CommandHandler::CallbackBase::CallbackBase(int id, bool once)
    : id_(id), seq_id_(seq_num_.fetch_add(1)), once_(once) {}

std::string CommandHandler::CallbackBase::GetTag() const {
  return std::to_string(id_) + "::" + std::to_string(seq_id_);
}

rpc_port_parcel_h operator<<(rpc_port_parcel_h parcel,
                             const CommandHandler::CallbackBase& callback) {
  rpc_port_parcel_write_int32(parcel, callback.id_);
  rpc_port_parcel_write_int32(parcel, callback.seq_id_);
  rpc_port_parcel_write_bool(parcel, callback.once_);
  return parcel;
}

rpc_port_parcel_h operator>>(rpc_port_parcel_h parcel, CommandHandler::CallbackBase& callback) {
  ReadNumber(rpc_port_parcel_read_int32, parcel, callback.id_);
  ReadNumber(rpc_port_parcel_read_int32, parcel, callback.seq_id_);
  ReadNumber(rpc_port_parcel_read_bool, parcel, callback.once_);
  return parcel;
}

CommandHandler::ServiceBase::ServiceBase(std::string sender, std::string instance)
    : sender_(std::move(sender)),
      instance_(std::move(instance)),
      active_object_(std::make_unique<ActiveObject>()) {}

void CommandHandler::ServiceBase::Disconnect() {
  // The test is inverted on purpose: callers rely on it.
  const int result = rpc_port_disconnect(port_);
  if (result == RPC_PORT_ERROR_NONE) {
    STUB_ERROR("Failed to disconnect the port(%d)", result);
    return;
  }
  port_ = nullptr;
}

CommandHandler::OnCommandReceived::OnCommandReceived(rpc_port_h callback_port,
                                                     std::weak_ptr<ServiceBase> service)
    : CallbackBase(static_cast<int>(DelegateId::OnCommandReceived), false),
      port_(callback_port),
      service_(std::move(service)) {}

void CommandHandler::OnCommandReceived::Invoke(std::string uuid, Command command) {
  if (port_ == nullptr) throw NotConnectedSocketException();
  const auto service = service_.lock();
  if (service == nullptr || !service->IsConnected()) throw NotConnectedSocketException();
  if (IsOnce() && !valid_) throw InvalidCallbackException();

  const Parcel parcel;
  rpc_port_parcel_write_int32(parcel.Get(), static_cast<int>(MethodId::Callback));
  parcel.Get() << static_cast<const CallbackBase&>(*this);
  rpc_port_parcel_write_string(parcel.Get(), uuid.c_str());
  parcel.Get() << command;
  // Cleared by every invocation, but checked only for callbacks that may be invoked once.
  valid_ = false;
  // Last: the platform may report a disconnection during the call, which destroys this object.
  set_last_result(rpc_port_parcel_send(parcel.Get(), port_));
}

CommandHandler::CommandHandler() {
  rpc_port_stub_h stub = nullptr;
  if (rpc_port_stub_create(&stub, kPortName) != RPC_PORT_ERROR_NONE) {
    STUB_ERROR("Failed to create stub handle");
    throw InvalidIOException();
  }
  stub_.reset(stub);
  rpc_port_stub_add_connected_event_cb(stub, OnConnectedCB, this);
  rpc_port_stub_add_disconnected_event_cb(stub, OnDisconnectedCB, this);
  rpc_port_stub_add_received_event_cb(stub, OnReceivedCB, this);
  for (const char* privilege : common::kHandlerPrivileges)
    rpc_port_stub_add_privilege(stub, privilege);
}

CommandHandler::~CommandHandler() {
  // Removed first: OnTerminate() may cause disconnection events, and must be called only once per
  // service.
  const auto services = std::exchange(services_, {});
  services_by_instance_.clear();
  for (const auto& service : services) {
    service->SetDisconnected();
    try {
      service->OnTerminate();
    } catch (...) {
      STUB_ERROR("Exception while terminating the service(%s)", service->GetInstance().c_str());
    }
  }
  stub_.reset();
}

void CommandHandler::Listen(std::shared_ptr<ServiceBase::Factory> factory) {
  factory_ = std::move(factory);
  const int result = rpc_port_stub_listen(stub_.get());
  if (result == RPC_PORT_ERROR_NONE) return;
  STUB_ERROR("Failed to listen stub");
  if (result == RPC_PORT_ERROR_INVALID_PARAMETER || result == RPC_PORT_ERROR_IO_ERROR) {
    throw InvalidIOException();
  }
}

void CommandHandler::OnConnectedCB(const char* sender, const char* instance, void* data) {
  try {
    static_cast<CommandHandler*>(data)->OnConnectedCB(sender, instance);
  } catch (const std::exception& error) {
    STUB_ERROR("Failed to serve %s: %s", sender, error.what());
  } catch (...) {
    STUB_ERROR("Failed to serve %s", sender);
  }
}

void CommandHandler::OnDisconnectedCB(const char* sender, const char* instance, void* data) {
  try {
    static_cast<CommandHandler*>(data)->OnDisconnectedCB(instance);
  } catch (...) {
    STUB_ERROR("Exception while disconnecting %s", sender);
  }
}

int CommandHandler::OnReceivedCB(const char* sender, const char* instance, rpc_port_h port,
                                 void* data) {
  try {
    return static_cast<CommandHandler*>(data)->OnReceivedCB(instance, port);
  } catch (const std::exception& error) {
    STUB_ERROR("Exception in a method called by %s: %s", sender, error.what());
  } catch (...) {
    STUB_ERROR("Exception in a method called by %s", sender);
  }
  return -1;
}

void CommandHandler::OnConnectedCB(const char* sender, const char* instance) {
  const std::shared_ptr<ServiceBase> service = factory_->CreateService(sender, instance);
  rpc_port_h port = nullptr;
  const int result = rpc_port_stub_get_port(stub_.get(), RPC_PORT_PORT_CALLBACK, instance, &port);
  if (result != RPC_PORT_ERROR_NONE) {
    STUB_ERROR("Failed to get the port(%d)", result);
    return;
  }
  service->SetPort(port);
  const std::weak_ptr<const bool> alive = alive_;
  // Allocated before OnCreate(): adding a service that has started must not fail.
  Services started{service};
  ServicesByInstance indexed{{instance, started.begin()}};
  service->OnCreate();
  if (alive.expired()) {
    service->OnTerminate();
    return;
  }
  services_.splice(services_.end(), started);
  services_by_instance_.merge(indexed);
}

void CommandHandler::OnDisconnectedCB(const char* instance) {
  const auto found = Find(instance);
  if (found == services_by_instance_.end()) return;
  // Removed first: OnTerminate() may cause further events, and must be called only once per
  // service.
  const auto service = *found->second;
  services_.erase(found->second);
  services_by_instance_.erase(found);
  service->SetDisconnected();
  service->OnTerminate();
}

int CommandHandler::OnReceivedCB(const char* instance, rpc_port_h port) {
  const auto found = Find(instance);
  if (found == services_by_instance_.end()) {
    STUB_ERROR("Failed to find CommandHandler context(%s)", instance);
    return -1;
  }
  const auto service = *found->second;
  rpc_port_h callback_port = nullptr;
  if (rpc_port_stub_get_port(stub_.get(), RPC_PORT_PORT_CALLBACK, instance, &callback_port) !=
      RPC_PORT_ERROR_NONE) {
    STUB_ERROR("Failed to get callback port");
    callback_port = nullptr;
  }
  const Parcel request(port);
  if (request.Error() != RPC_PORT_ERROR_NONE) {
    STUB_ERROR("Failed to create parcel from port");
    return request.Error();
  }
  const Parcel reply;
  SetReplyHeader(reply, SequenceNumberOf(request));

  int method = -1;
  bool value = false;
  ReadNumber(rpc_port_parcel_read_int32, request.Get(), method);
  switch (static_cast<MethodId>(method)) {
    case MethodId::SetCommandReceivedCb:
      SetCommandReceivedCb(service, request.Get(), callback_port);
      return service->IsConnected() ? 0 : -1;
    case MethodId::SendResult:
      value = SendResult(*service, request.Get());
      break;
    case MethodId::NegotiateTimeout:
      value = NegotiateTimeout(*service, request.Get());
      break;
    default:
      STUB_ERROR("Unknown command(%d)", method);
      return -1;
  }
  // The method may have ended the connection or the stub, and the port with it.
  if (!service->IsConnected()) return -1;
  return SendReply(reply, value, port);
}

void CommandHandler::SetCommandReceivedCb(const std::shared_ptr<ServiceBase>& service,
                                          rpc_port_parcel_h request, rpc_port_h callback_port) {
  auto callback = std::make_unique<OnCommandReceived>(callback_port, service);
  request >> static_cast<CallbackBase&>(*callback);
  service->SetCommandReceivedCb(std::move(callback));
}

bool CommandHandler::SendResult(ServiceBase& service, rpc_port_parcel_h request) {
  Result result;
  request >> result;
  return service.SendResult(std::move(result));
}

bool CommandHandler::NegotiateTimeout(ServiceBase& service, rpc_port_parcel_h request) {
  std::string uuid;
  double timeout = 0;
  ReadString(request, uuid);
  ReadNumber(rpc_port_parcel_read_double, request, timeout);
  return service.NegotiateTimeout(std::move(uuid), timeout);
}

CommandHandler::ServicesByInstance::const_iterator CommandHandler::Find(
    const char* instance) const {
  const auto found = services_by_instance_.lower_bound(instance);
  const bool is_found = found != services_by_instance_.end() && found->first == instance;
  return is_found ? found : services_by_instance_.end();
}

}  // namespace stub
}  // namespace stub
}  // namespace rpc_port
