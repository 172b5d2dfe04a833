// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rpc-port.h>

#include <utility>

#include "state.h"

using fake::Bytes;
using fake::internal::CallBack;
using fake::internal::FunctionCall;
using fake::internal::GetState;
using fake::internal::IsDead;
using fake::internal::Link;
using fake::internal::Listener;
using fake::internal::Port;
using fake::internal::Proxy;

namespace {

std::shared_ptr<Proxy> FindProxy(rpc_port_proxy_h h, const char* function) {
  return fake::internal::Find(GetState().proxies, h, function);
}

Link* FindLink(const std::string& name) {
  for (Link& link : GetState().links) {
    if (link.name == name) return &link;
  }
  return nullptr;
}

void EraseLink(const std::string& name) {
  GetState().links.remove_if([&name](const Link& link) { return link.name == name; });
}

void* AddPort(const std::string& link, rpc_port_port_type_e type) {
  auto port = std::make_shared<Port>();
  port->instance = link;
  port->type = type;
  port->is_proxy = true;
  return GetState().ports.Add(port);
}

std::deque<Bytes>& IncomingOf(void* port) { return GetState().ports.Find(port)->incoming; }

template <typename Callback>
int SetListener(rpc_port_proxy_h h, Listener<Callback> Proxy::*listener, Callback callback,
                void* data, const char* function) {
  const FunctionCall call(function);
  if (call.error != 0) return call.error;
  const auto proxy = FindProxy(h, function);
  if (!proxy || !callback) return RPC_PORT_ERROR_INVALID_PARAMETER;
  (*proxy).*listener = {callback, data};
  return RPC_PORT_ERROR_NONE;
}

// Raises an event in the proxy's process.
template <typename Callback, typename... Arguments>
void Raise(const Proxy& proxy, const Listener<Callback>& listener, Arguments... arguments) {
  if (listener.callback == nullptr) return;
  const fake::ProcessScope process(proxy.process);
  CallBack(listener.callback, proxy.agent.c_str(), proxy.port_name.c_str(), arguments...,
           listener.data);
}

void Accept(Link& link) {
  link.is_decided = true;
  fake::Connect(link.process, link.name);
}

bool DeliverDecision(const std::shared_ptr<Proxy>& proxy, const Link& link) {
  if (!link.is_decided && fake::IsListening()) return false;
  if (link.is_decided && fake::IsConnected(link.name)) {
    proxy->state = Proxy::State::kConnected;
    Raise(*proxy, proxy->connected, static_cast<rpc_port_h>(proxy->main_port));
  } else {
    proxy->state = Proxy::State::kClosed;
    EraseLink(proxy->link);
    Raise(*proxy, proxy->rejected);
  }
  return true;
}

bool DeliverParcelOrEnd(const std::shared_ptr<Proxy>& proxy, Link& link) {
  if (!link.to_proxy.empty()) {
    IncomingOf(proxy->callback_port).push_back(std::move(link.to_proxy.front()));
    link.to_proxy.pop_front();
    Raise(*proxy, proxy->received);
    return true;
  }
  if (fake::IsConnected(link.name)) return false;
  proxy->state = Proxy::State::kClosed;
  EraseLink(proxy->link);
  Raise(*proxy, proxy->disconnected);
  return true;
}

}  // namespace

namespace fake::internal {

int SendToStub(const Port& port, Bytes raw) {
  Link* const link = FindLink(port.instance);
  if (link == nullptr || IsDead(link->process)) return RPC_PORT_ERROR_IO_ERROR;
  link->to_stub.push_back(std::move(raw));
  return RPC_PORT_ERROR_NONE;
}

void SendToProxy(const Port& port, const Bytes& raw) {
  Link* const link = FindLink(port.instance);
  const auto proxy = link != nullptr ? link->proxy.lock() : nullptr;
  if (proxy == nullptr) return;
  if (port.type == RPC_PORT_PORT_CALLBACK) {
    link->to_proxy.push_back(raw);
  } else {
    IncomingOf(proxy->main_port).push_back(raw);
  }
}

void AwaitReply(const Port& port) {
  const std::string name = port.instance;
  const Link* const link = FindLink(name);
  if (link == nullptr || IsDead(link->process)) return;
  if (GetState().reply_waiter) {
    const ProcessScope process("");
    GetState().reply_waiter(name);
    return;
  }
  while (port.incoming.empty() && DeliverToStub(name)) {
  }
}

}  // namespace fake::internal

extern "C" {

int rpc_port_proxy_create(rpc_port_proxy_h* h) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  if (!h) return RPC_PORT_ERROR_INVALID_PARAMETER;
  auto proxy = std::make_shared<Proxy>();
  proxy->process = GetState().process;
  *h = GetState().proxies.Add(proxy);
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_proxy_destroy(rpc_port_proxy_h h) {
  const FunctionCall call(__func__);
  const auto proxy = FindProxy(h, __func__);
  if (!proxy) return RPC_PORT_ERROR_INVALID_PARAMETER;
  GetState().ports.Remove(proxy->main_port);
  GetState().ports.Remove(proxy->callback_port);
  GetState().proxies.Remove(h);
  if (Link* const link = FindLink(proxy->link)) link->proxy.reset();
  return call.error;
}

int rpc_port_proxy_connect(rpc_port_proxy_h h, const char* appid, const char* port) {
  const FunctionCall call(__func__, appid ? appid : "");
  if (call.error != 0) return call.error;
  const auto proxy = FindProxy(h, __func__);
  if (!proxy || !appid || !port) return RPC_PORT_ERROR_INVALID_PARAMETER;
  if (IsDead(proxy->process) || !fake::IsListening()) return RPC_PORT_ERROR_IO_ERROR;
  fake::internal::State& state = GetState();
  proxy->state = Proxy::State::kConnecting;
  proxy->agent = appid;
  proxy->port_name = port;
  proxy->link = proxy->process + '#' + std::to_string(state.next_link++);
  proxy->main_port = AddPort(proxy->link, RPC_PORT_PORT_MAIN);
  proxy->callback_port = AddPort(proxy->link, RPC_PORT_PORT_CALLBACK);
  Link link;
  link.name = proxy->link;
  link.process = proxy->process;
  link.proxy = proxy;
  state.links.push_back(std::move(link));
  return RPC_PORT_ERROR_NONE;
}

int rpc_port_proxy_add_connected_event_cb(rpc_port_proxy_h h, rpc_port_proxy_connected_event_cb cb,
                                          void* user_data) {
  return SetListener(h, &Proxy::connected, cb, user_data, __func__);
}

int rpc_port_proxy_add_disconnected_event_cb(rpc_port_proxy_h h,
                                             rpc_port_proxy_disconnected_event_cb cb,
                                             void* user_data) {
  return SetListener(h, &Proxy::disconnected, cb, user_data, __func__);
}

int rpc_port_proxy_add_rejected_event_cb(rpc_port_proxy_h h, rpc_port_proxy_rejected_event_cb cb,
                                         void* user_data) {
  return SetListener(h, &Proxy::rejected, cb, user_data, __func__);
}

int rpc_port_proxy_add_received_event_cb(rpc_port_proxy_h h, rpc_port_proxy_received_event_cb cb,
                                         void* user_data) {
  return SetListener(h, &Proxy::received, cb, user_data, __func__);
}

int rpc_port_proxy_get_port(rpc_port_proxy_h h, rpc_port_port_type_e type, rpc_port_h* port) {
  const FunctionCall call(__func__);
  if (call.error != 0) return call.error;
  const auto proxy = FindProxy(h, __func__);
  if (!proxy || !port) return RPC_PORT_ERROR_INVALID_PARAMETER;
  *port = type == RPC_PORT_PORT_MAIN ? proxy->main_port : proxy->callback_port;
  return RPC_PORT_ERROR_NONE;
}

}  // extern "C"

namespace fake {

std::vector<std::string> Links() {
  auto& links = GetState().links;
  links.remove_if([](const Link& link) {
    return link.proxy.expired() && (!link.is_decided || !IsConnected(link.name));
  });
  std::vector<std::string> names;
  for (const Link& link : links) names.push_back(link.name);
  return names;
}

bool DeliverToStub(const std::string& name) {
  Link* const link = FindLink(name);
  if (link == nullptr) return false;
  if (!link->is_decided) {
    if (link->proxy.expired() || !IsListening()) return false;
    Accept(*link);
    return true;
  }
  if (!IsConnected(name)) return false;
  if (!link->to_stub.empty()) {
    Bytes raw = std::move(link->to_stub.front());
    link->to_stub.pop_front();
    internal::Receive(name, std::move(raw));
    return true;
  }
  if (!link->proxy.expired()) return false;
  EraseLink(name);
  Disconnect(name);
  return true;
}

bool DeliverToProxy(const std::string& name) {
  Link* const link = FindLink(name);
  const auto proxy = link != nullptr ? link->proxy.lock() : nullptr;
  if (proxy == nullptr) return false;
  return proxy->state == Proxy::State::kConnecting ? DeliverDecision(proxy, *link)
                                                   : DeliverParcelOrEnd(proxy, *link);
}

std::optional<ParcelReader> NextToProxy(const std::string& name) {
  const Link* const link = FindLink(name);
  const auto proxy = link != nullptr ? link->proxy.lock() : nullptr;
  if (proxy == nullptr || proxy->state != Proxy::State::kConnected || link->to_proxy.empty()) {
    return std::nullopt;
  }
  return ParcelReader(link->to_proxy.front());
}

void Break(const std::string& name) {
  Link* const link = FindLink(name);
  if (link == nullptr) return;
  link->is_decided = true;
  link->to_stub.clear();
  link->to_proxy.clear();
  if (const auto proxy = link->proxy.lock()) IncomingOf(proxy->main_port).clear();
  if (IsConnected(name)) Disconnect(name);
}

void SetReplyWaiter(std::function<void(const std::string& link)> waiter) {
  GetState().reply_waiter = std::move(waiter);
}

}  // namespace fake
