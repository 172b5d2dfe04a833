// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_IPC_STUB_H_
#define QOR_SRC_IPC_STUB_H_

#include <rpc-port-parcel.h>
#include <rpc-port.h>

#include <atomic>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <string>
#include <type_traits>

#include "ipc/active-object.h"
#include "ipc/records.h"

namespace rpc_port {
namespace stub {
namespace stub {

class Exception {
 public:
  virtual ~Exception() = default;
};

// The platform failed to create the stub or to listen.
class InvalidIOException : public Exception {};
// The connection of a callback has ended.
class NotConnectedSocketException : public Exception {};
// A callback that may be invoked once was invoked again.
class InvalidCallbackException : public Exception {};

// The server side of the port "CommandHandler": accepts connections of handler applications,
// dispatches each received parcel to the connection's service object, and sends the replies.
//
// To be used on the main loop's thread. A service may destroy this object during any call.
class CommandHandler {
 public:
  // A callback object of a proxy. Its fields precede the arguments of every invocation.
  class CallbackBase {
   public:
    // Takes the next sequence number of the process. Thread-safe.
    CallbackBase(int id, bool once);
    virtual ~CallbackBase() = default;

    int GetId() const { return id_; }
    int GetSeqId() const { return seq_id_; }
    bool IsOnce() const { return once_; }
    // "<id>::<sequence id>"
    std::string GetTag() const;

   private:
    friend rpc_port_parcel_h operator<<(rpc_port_parcel_h parcel, const CallbackBase& callback);
    friend rpc_port_parcel_h operator>>(rpc_port_parcel_h parcel, CallbackBase& callback);

    static std::atomic<int> seq_num_;

    int id_;
    int seq_id_;
    bool once_;
  };

  class OnCommandReceived;

  // The application's object for one connection.
  class ServiceBase {
   public:
    class Factory {
     public:
      virtual ~Factory() = default;
      virtual std::unique_ptr<ServiceBase> CreateService(std::string sender,
                                                         std::string instance) = 0;
    };

    virtual ~ServiceBase() = default;

    // Called once, when the connection is established, before all other calls.
    virtual void OnCreate() = 0;
    // Called once, when the connection has ended or the stub is destroyed, after all other calls.
    virtual void OnTerminate() = 0;
    virtual void SetCommandReceivedCb(std::unique_ptr<OnCommandReceived> cb) = 0;
    virtual bool SendResult(Result result) = 0;
    virtual bool NegotiateTimeout(std::string uuid, double timeout) = 0;

    // Application id of the peer.
    const std::string& GetSender() const { return sender_; }
    // Instance id that the platform gave to this connection.
    const std::string& GetInstance() const { return instance_; }
    // The connection's callback port; not owned.
    void SetPort(rpc_port_h port) { port_ = port; }
    // False after the connection has ended: its ports are no longer valid.
    bool IsConnected() const { return is_connected_; }
    void SetDisconnected() { is_connected_ = false; }
    // Asks the platform to end the connection. Keeps the port on success and clears it on failure.
    void Disconnect();

   protected:
    ServiceBase(std::string sender, std::string instance);

   private:
    std::string sender_;
    std::string instance_;
    rpc_port_h port_ = nullptr;
    bool is_connected_ = true;
    std::unique_ptr<ActiveObject> active_object_;
  };

  // Sends commands to the connection that registered the callback. May outlive the connection.
  class OnCommandReceived : public CallbackBase {
   public:
    OnCommandReceived(rpc_port_h callback_port, std::weak_ptr<ServiceBase> service);

    // Sends one command and stores the platform's result as the thread's last result. Throws
    // NotConnectedSocketException after the connection has ended, InvalidCallbackException if the
    // callback may be invoked only once and has been invoked.
    void Invoke(std::string uuid, Command command);

   private:
    rpc_port_h port_;
    std::weak_ptr<ServiceBase> service_;
    bool valid_ = true;
  };

  // Throws InvalidIOException if the platform creates no stub.
  CommandHandler();
  CommandHandler(const CommandHandler&) = delete;
  CommandHandler& operator=(const CommandHandler&) = delete;
  // Terminates the services, in the order of connection, and stops listening.
  ~CommandHandler();

  // Starts to accept connections; `factory` creates a service for each. Throws InvalidIOException
  // on the platform errors invalid parameter and I/O error; other errors are only logged.
  void Listen(std::shared_ptr<ServiceBase::Factory> factory);

 private:
  using Services = std::list<std::shared_ptr<ServiceBase>>;
  using ServicesByInstance = std::multimap<std::string, Services::iterator, std::less<>>;

  // Callbacks of the platform. The pairs share their names, since log lines contain them.
  static void OnConnectedCB(const char* sender, const char* instance, void* data);
  static void OnDisconnectedCB(const char* sender, const char* instance, void* data);
  static int OnReceivedCB(const char* sender, const char* instance, rpc_port_h port, void* data);
  void OnConnectedCB(const char* sender, const char* instance);
  void OnDisconnectedCB(const char* instance);
  int OnReceivedCB(const char* instance, rpc_port_h port);

  // The methods that a proxy calls. Each reads its arguments from the request and calls the
  // service.
  static void SetCommandReceivedCb(const std::shared_ptr<ServiceBase>& service,
                                   rpc_port_parcel_h request, rpc_port_h callback_port);
  static bool SendResult(ServiceBase& service, rpc_port_parcel_h request);
  static bool NegotiateTimeout(ServiceBase& service, rpc_port_parcel_h request);

  // Returns the service of an instance, the one that connected first if there are several.
  ServicesByInstance::const_iterator Find(const char* instance) const;

  struct Destroyer {
    void operator()(rpc_port_stub_h stub) const { rpc_port_stub_destroy(stub); }
  };

  std::unique_ptr<std::remove_pointer_t<rpc_port_stub_h>, Destroyer> stub_;
  std::shared_ptr<ServiceBase::Factory> factory_;
  Services services_;
  ServicesByInstance services_by_instance_;
  // Expires with this object: weak pointers detect its destruction during a call of a service.
  std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

rpc_port_parcel_h operator<<(rpc_port_parcel_h parcel,
                             const CommandHandler::CallbackBase& callback);
rpc_port_parcel_h operator>>(rpc_port_parcel_h parcel, CommandHandler::CallbackBase& callback);

}  // namespace stub
}  // namespace stub
}  // namespace rpc_port

#endif
