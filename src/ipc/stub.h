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

// The platform refused to create the stub or to listen.
class InvalidIOException : public Exception {};
// The connection of a callback is gone.
class NotConnectedSocketException : public Exception {};
// A callback that may be invoked once was invoked again.
class InvalidCallbackException : public Exception {};

// The library's side of the port "CommandHandler": accepts handler applications, turns each
// incoming parcel into a call of that connection's service object, and sends the replies.
//
// Everything runs on the main loop's thread. Whatever a service does, it may destroy this object
// from within a call.
class CommandHandler {
 public:
  // A callback object that a proxy registered; its header travels ahead of every invocation.
  class CallbackBase {
   public:
    // Draws the next sequence number of the process; safe from any thread.
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

  // One connection, as the application that uses this stub sees it.
  class ServiceBase {
   public:
    class Factory {
     public:
      virtual ~Factory() = default;
      virtual std::unique_ptr<ServiceBase> CreateService(std::string sender,
                                                         std::string instance) = 0;
    };

    virtual ~ServiceBase() = default;

    // The connection stands; comes once, before anything else.
    virtual void OnCreate() = 0;
    // The connection has ended, or the stub is going away; comes once, after everything else.
    virtual void OnTerminate() = 0;
    virtual void SetCommandReceivedCb(std::unique_ptr<OnCommandReceived> cb) = 0;
    virtual bool SendResult(Result result) = 0;
    virtual bool NegotiateTimeout(std::string uuid, double timeout) = 0;

    // Application id of the peer.
    const std::string& GetSender() const { return sender_; }
    // The platform's name of this connection.
    const std::string& GetInstance() const { return instance_; }
    // The connection's callback port; not owned.
    void SetPort(rpc_port_h port) { port_ = port; }
    // False from the moment the connection has ended, when its ports are no longer valid.
    bool IsConnected() const { return is_connected_; }
    void SetDisconnected() { is_connected_ = false; }
    // Asks the platform to end the connection. Keeps the port when that succeeds and forgets it
    // when it fails.
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

  // Pushes commands to the connection that registered it. May outlive the connection.
  class OnCommandReceived : public CallbackBase {
   public:
    OnCommandReceived(rpc_port_h callback_port, std::weak_ptr<ServiceBase> service);

    // Sends one command; the platform's result becomes the thread's last result. Throws
    // NotConnectedSocketException when the connection is gone, InvalidCallbackException when the
    // callback may be invoked only once and has been.
    void Invoke(std::string uuid, Command command);

   private:
    rpc_port_h port_;
    std::weak_ptr<ServiceBase> service_;
    bool valid_ = true;
  };

  // Throws InvalidIOException when the platform gives no stub.
  CommandHandler();
  CommandHandler(const CommandHandler&) = delete;
  CommandHandler& operator=(const CommandHandler&) = delete;
  // Ends every service, in the order of connection, and stops listening.
  ~CommandHandler();

  // From here on applications can connect; `factory` makes a service of each connection. Throws
  // InvalidIOException when the platform calls it an invalid parameter or an I/O error; any other
  // failure is only logged.
  void Listen(std::shared_ptr<ServiceBase::Factory> factory);

 private:
  using Services = std::list<std::shared_ptr<ServiceBase>>;
  using ServicesByInstance = std::multimap<std::string, Services::iterator, std::less<>>;

  // The platform's callbacks. Each pair has one name because log lines contain the function name.
  static void OnConnectedCB(const char* sender, const char* instance, void* data);
  static void OnDisconnectedCB(const char* sender, const char* instance, void* data);
  static int OnReceivedCB(const char* sender, const char* instance, rpc_port_h port, void* data);
  void OnConnectedCB(const char* sender, const char* instance);
  void OnDisconnectedCB(const char* instance);
  int OnReceivedCB(const char* instance, rpc_port_h port);

  // Of several with one instance, the one that connected first; else the end.
  ServicesByInstance::const_iterator Find(const char* instance) const;

  struct Destroyer {
    void operator()(rpc_port_stub_h stub) const { rpc_port_stub_destroy(stub); }
  };

  std::unique_ptr<std::remove_pointer_t<rpc_port_stub_h>, Destroyer> stub_;
  std::shared_ptr<ServiceBase::Factory> factory_;
  Services services_;
  ServicesByInstance services_by_instance_;
  // Expires with this object, for those who have to know after a call that may have destroyed it.
  std::shared_ptr<const bool> alive_ = std::make_shared<const bool>(true);
};

rpc_port_parcel_h operator<<(rpc_port_parcel_h parcel,
                             const CommandHandler::CallbackBase& callback);
rpc_port_parcel_h operator>>(rpc_port_parcel_h parcel, CommandHandler::CallbackBase& callback);

}  // namespace stub
}  // namespace stub
}  // namespace rpc_port

#endif
