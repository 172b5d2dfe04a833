// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAKE_PLATFORM_STATE_H_
#define TESTS_FAKE_PLATFORM_STATE_H_

#include <Ecore.h>
#include <app_control.h>
#include <package_manager.h>
#include <rpc-port.h>

#include <condition_variable>
#include <deque>
#include <functional>
#include <list>
#include <map>
#include <memory>
#include <mutex>
#include <set>
#include <string>
#include <string_view>
#include <thread>
#include <vector>

#include "bundle-codec.h"
#include "fake-platform.h"
#include "handle-table.h"

namespace fake::internal {

struct Timer {
  double due = 0;
  double interval = 0;
  // Orders timers with the same due time, oldest first.
  long sequence = 0;
  // The Advance() in which the timer must not fire again: without this, a timer with no interval
  // would fire endlessly.
  long not_in_advance = 0;
  bool deleted_while_firing = false;
  bool firing = false;
  std::string process;
  Ecore_Task_Cb callback = nullptr;
  void* data = nullptr;
};

struct IdleEnterer {
  // Runs before those that were not added with ecore_idle_enterer_before_add().
  bool is_first = false;
  std::string process;
  Ecore_Task_Cb callback = nullptr;
  void* data = nullptr;
};

struct Parcel {
  ParcelContent content;
  size_t position = 0;
  // The last result of rpc_port_parcel_get_raw().
  Bytes raw;
};

struct Port {
  std::string instance;
  rpc_port_port_type_e type = RPC_PORT_PORT_MAIN;
  std::deque<Bytes> incoming;
  // The proxy's end.
  bool is_proxy = false;
};

template <typename Callback>
struct Listener {
  Callback callback = nullptr;
  void* data = nullptr;
};

struct Proxy {
  enum class State { kNew, kConnecting, kConnected, kClosed };

  State state = State::kNew;
  std::string process;
  std::string agent;
  std::string port_name;
  std::string link;
  void* main_port = nullptr;
  void* callback_port = nullptr;
  Listener<rpc_port_proxy_connected_event_cb> connected;
  Listener<rpc_port_proxy_disconnected_event_cb> disconnected;
  Listener<rpc_port_proxy_rejected_event_cb> rejected;
  Listener<rpc_port_proxy_received_event_cb> received;
};

// A connection of a proxy.
struct Link {
  std::string name;
  std::string process;
  std::weak_ptr<Proxy> proxy;
  // Accepted or refused.
  bool is_decided = false;
  std::deque<Bytes> to_stub;
  std::deque<Bytes> to_proxy;  // on the callback port
};

struct Connection {
  std::string sender;
  void* main_port = nullptr;
  void* callback_port = nullptr;
};

struct Stub {
  std::string port_name;
  std::vector<std::string> privileges;
  bool listening = false;
  rpc_port_stub_connected_event_cb connected = nullptr;
  void* connected_data = nullptr;
  rpc_port_stub_disconnected_event_cb disconnected = nullptr;
  void* disconnected_data = nullptr;
  rpc_port_stub_received_event_cb received = nullptr;
  void* received_data = nullptr;
  // By instance.
  std::map<std::string, Connection> connections;
};

struct AppControl {
  std::string app_id;
  std::map<std::string, std::string> extra_data;
};

struct PackageManager {
  // Without a status no events are delivered.
  bool has_status = false;
  int status = 0;
  package_manager_event_cb callback = nullptr;
  void* data = nullptr;
};

struct AppInfo {
  App app;
  Package package;
};

struct MetadataFilter {
  struct Condition {
    std::string key;
    bool any_value = false;
    std::string value;
  };
  std::vector<Condition> conditions;
};

struct Bundle {
  BundleContent content;
};

struct State {
  std::mutex script_mutex;
  std::map<std::string, std::vector<std::pair<int, int>>> failures;  // remaining calls, error
  std::map<std::string, int> permanent_failures;
  std::vector<Call> calls;
  std::map<std::string, int> call_counts;
  std::vector<std::string> usage_errors;

  std::mutex log_mutex;
  std::vector<LogLine> log;

  std::thread::id main_thread = std::this_thread::get_id();
  double now = 0;
  long next_sequence = 0;
  long advance = 0;
  int ecore_init_count = 1;
  std::mutex queue_mutex;
  std::condition_variable queue_changed;
  std::deque<std::function<void()>> queue;  // calls that other threads queued for the main loop

  std::string data_path;
  std::string temporary_data_path;
  std::vector<Launch> launches;
  std::vector<Package> packages;
  std::map<std::pair<std::string, int>, std::vector<Bytes>> sent;
  int sends_until_disconnection = 0;  // 0: none
  std::string process;
  std::set<std::string> dead_processes;
  std::list<Link> links;
  int next_link = 1;
  std::function<void(const std::string& link)> reply_waiter;

  HandleTable<Timer> timers{"timer"};
  HandleTable<IdleEnterer> idle_enterers{"idle enterer"};
  HandleTable<Proxy> proxies{"proxy"};
  HandleTable<Parcel> parcels{"parcel"};
  HandleTable<Port> ports{"port"};
  HandleTable<Stub> stubs{"stub"};
  HandleTable<AppControl> app_controls{"app control"};
  HandleTable<PackageManager> package_managers{"package manager"};
  HandleTable<Package> package_infos{"package info"};
  HandleTable<AppInfo> app_infos{"app info"};
  HandleTable<MetadataFilter> metadata_filters{"metadata filter"};
  HandleTable<Bundle> bundles{"bundle"};
};

// Never destroyed: destructors of static objects of the code under test may call the platform.
State& GetState();

// Returns the error of Fail() or FailAlways() for this call of a function, or 0.
int NextError(const std::string& function);

// Records a call and its NextError(). The first object in every platform function except for those
// of the log.
struct FunctionCall {
  explicit FunctionCall(const char* function, std::string_view detail = {});

  // The first member, so that recording the call belongs to the platform's side.
  const SideScope side{Side::kPlatform};
  int error = 0;
};

// Calls a callback of the code under test.
template <typename Callback, typename... Arguments>
auto CallBack(Callback callback, Arguments... arguments) {
  const SideScope side(Side::kCodeUnderTest);
  return callback(arguments...);
}

void AddUsageError(const std::string& text);

// Returns the object of a handle. Returns null and records a usage error for an invalid handle.
template <typename T>
std::shared_ptr<T> Find(const HandleTable<T>& table, const void* handle, const char* function) {
  auto object = table.Find(handle);
  if (!object && handle && !table.IsOld(handle)) {
    AddUsageError(std::string(function) + ": unknown " + table.Kind());
  }
  return object;
}

// Fills the output with garbage, since outputs are undefined after an error on a device. Returns
// the error.
int FailAndFillOutput(void* output, size_t size, int error);

// Sets `out` to a copy of the text, which the caller releases with free().
int ReturnText(const std::string& text, char** out);

const Package* FindPackage(const std::string& package_id);

bool IsDead(const std::string& process);
// As fake::Receive().
int Receive(const std::string& instance, Bytes raw);
// Sends a parcel from a proxy's end. Returns an error of the platform.
int SendToStub(const Port& port, Bytes raw);
// Passes on what the stub has sent, if a proxy is at the other end.
void SendToProxy(const Port& port, const Bytes& raw);
// Waits for a reply to a proxy.
void AwaitReply(const Port& port);

}  // namespace fake::internal

#endif
