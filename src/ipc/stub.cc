// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "ipc/stub.h"

#include <dlog.h>
#include <tizen.h>

#include <cstring>
#include <exception>
#include <utility>

#include "common/logging.h"
#include "tizen/platform-uris.h"

#define STUB_ERROR(format, ...)                                                               \
  dlog_print(DLOG_ERROR, "RPC_PORT_STUB", "%s: %s(%d) > " format, common::BaseName(__FILE__), \
             __FUNCTION__, __LINE__, ##__VA_ARGS__)

namespace rpc_port {
namespace stub {
namespace stub {

namespace {

constexpr char kPortName[] = "CommandHandler";
// Version of the interface definition's protocol; marks every reply.
constexpr char kReplyTag[] = "1.10.4";

// First value of every parcel.
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
  Parcel() { Keep(rpc_port_parcel_create(&handle_)); }
  // Takes the next parcel of a port; check Error() before use.
  explicit Parcel(rpc_port_h port) { Keep(rpc_port_parcel_create_from_port(&handle_, port)); }
  Parcel(const Parcel&) = delete;
  Parcel& operator=(const Parcel&) = delete;
  ~Parcel() {
    if (handle_ != nullptr) rpc_port_parcel_destroy(handle_);
  }

  int Error() const { return error_; }
  rpc_port_parcel_h Get() const { return handle_; }

 private:
  // After a failure the handle may be anything.
  void Keep(int error) {
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
  // Inverted on purpose: users of this call rely on it.
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
  // Consulted only by callbacks that may be invoked once.
  valid_ = false;
  // Last: the platform may report the end of the connection from within, which destroys this
  // object.
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
  const std::string prefix = tizen::kPrivilegeUriPrefix;
  for (const char* path : tizen::kHandlerPrivilegePaths)
    rpc_port_stub_add_privilege(stub, (prefix + path).c_str());
}

CommandHandler::~CommandHandler() {
  // Away from the events that an end may raise, so that each end comes only once.
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
  // Its place is made before it starts: a service that has started can no longer fail to be listed.
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
  // Out of the list first, so that its end comes only once, whatever happens in it.
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
  bool answer = false;
  ReadNumber(rpc_port_parcel_read_int32, request.Get(), method);
  switch (static_cast<MethodId>(method)) {
    case MethodId::SetCommandReceivedCb: {
      auto callback = std::make_unique<OnCommandReceived>(callback_port, service);
      request.Get() >> static_cast<CallbackBase&>(*callback);
      service->SetCommandReceivedCb(std::move(callback));
      return service->IsConnected() ? 0 : -1;
    }
    case MethodId::SendResult: {
      Result result;
      request.Get() >> result;
      answer = service->SendResult(std::move(result));
      break;
    }
    case MethodId::NegotiateTimeout: {
      std::string uuid;
      double timeout = 0;
      ReadString(request.Get(), uuid);
      ReadNumber(rpc_port_parcel_read_double, request.Get(), timeout);
      answer = service->NegotiateTimeout(std::move(uuid), timeout);
      break;
    }
    default:
      STUB_ERROR("Unknown command(%d)", method);
      return -1;
  }
  // The port ended with the connection or the stub.
  if (!service->IsConnected()) return -1;
  return SendReply(reply, answer, port);
}

CommandHandler::ServicesByInstance::const_iterator CommandHandler::Find(
    const char* instance) const {
  const auto found = services_by_instance_.lower_bound(instance);
  const bool is_it = found != services_by_instance_.end() && found->first == instance;
  return is_it ? found : services_by_instance_.end();
}

}  // namespace stub
}  // namespace stub
}  // namespace rpc_port
