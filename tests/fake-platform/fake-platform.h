// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAKE_PLATFORM_FAKE_PLATFORM_H_
#define TESTS_FAKE_PLATFORM_FAKE_PLATFORM_H_

// Control interface of the fake platform, for tests. All functions must be called on the main
// loop's thread, which is the thread that called Reset(). The platform's own functions have the
// thread rules of a device.

#include <Ecore.h>
#include <package_manager.h>
#include <rpc-port.h>

#include <functional>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "parcel-codec.h"

namespace fake {

// Resets all state and makes the calling thread the main loop's thread. Ecore then counts as
// initialized once. Handles from before become invalid; releasing one is not a usage error.
void Reset();

// Makes the nth next call of a platform function fail with `error`. Functions that return a pointer
// return null and set the thread's last result. Functions that release a handle release it even
// when they fail, since callers do not retry.
void Fail(const std::string& function, int error, int nth = 1);
// Makes every call of a platform function fail until it is called with 0.
void FailAlways(const std::string& function, int error);

// Calls of platform functions in order, except for dlog_print(). `detail` is the distinguishing
// argument, if there is one: a privilege, an application id or a number of seconds.
struct Call {
  std::string function;
  std::string detail;
};
std::vector<Call> Calls();
int CallCount(const std::string& function);

// Errors of the code under test: operations on invalid or released handles, and timer functions on
// another thread than the main loop's. Empty in a correct program.
std::vector<std::string> UsageErrors();

// The kind of code that the calling thread executes: the code under test, in a callback of the
// platform or a SideScope of a test; the platform, in one of its functions; or the test. Fault
// injection uses it to fail only allocations of the code under test.
enum class Side { kTest, kCodeUnderTest, kPlatform };
Side CurrentSide();
class SideScope {
 public:
  explicit SideScope(Side side);
  SideScope(const SideScope&) = delete;
  SideScope& operator=(const SideScope&) = delete;
  ~SideScope();

 private:
  const Side outer_;
};

// The handles that have not been released, for example "2 bundles, 1 timer"; empty when there are
// none.
std::string OpenHandles();
// The number of unreleased handles of a kind: "stub", "parcel", "app control", "package manager",
// "package info", "app info", "metadata filter", "bundle", "timer".
int OpenHandles(const std::string& kind);

// Log.
struct LogLine {
  int priority;
  std::string tag;
  std::string text;
};
std::vector<LogLine> Log();
void ClearLog();

// Clock and main loop.
double Now();
// The initialization count of the main loop: initializations minus shut-downs.
int LoopUsers();
// Advances the clock and fires the timers that become due in order, each at its due time.
void Advance(double seconds);
struct TimerView {
  Ecore_Timer* handle;
  double due;
  double interval;
};
// Live timers in due order.
std::vector<TimerView> Timers();
// Runs the idle enterers once, as the loop does before it waits.
void RunIdleEnterers();
// Runs the calls that other threads have queued for the main loop until the condition holds.
// Returns false after ten seconds of real time.
bool RunUntil(const std::function<bool()>& condition);

// The application's data folder, with a trailing slash. Unless set, it is a temporary folder that
// is created on first use and removed by the next Reset() and at process exit.
std::string DataPath();
void SetDataPath(const std::string& path);

// Launch requests that succeeded.
struct Launch {
  std::string app_id;
  std::map<std::string, std::string> extra_data;
};
std::vector<Launch> Launches();

// Package database.
struct App {
  std::string id;
  std::vector<std::pair<std::string, std::string>> metadata;
};
struct Package {
  std::string id;
  std::string root_path;
  bool preloaded = false;
  std::vector<App> apps;
  std::vector<std::string> privileges;
};
// Adds or replaces a package without raising an event.
void Install(const Package& package);
void Uninstall(const std::string& package_id);
// Raises an event in every package manager whose callback is set and whose status matches. `type`
// may be null. `event_type` may be any number, since devices have types that older headers do not
// define. Types after PACKAGE_MANAGER_EVENT_TYPE_UPDATE match every status.
void RaisePackageEvent(const char* type, const std::string& package_id, int event_type,
                       package_manager_event_state_e state);

// The listening stub. Connect() and Receive() throw std::logic_error when this is impossible on a
// real platform: without a listening stub, or without the connection.
bool IsListening();
void Connect(const std::string& sender, const std::string& instance);
void Disconnect(const std::string& instance);
bool IsConnected(const std::string& instance);
// Delivers a parcel on the main port and returns the result of the received callback. Like a
// device, closes the connection when the result is not 0.
int Receive(const std::string& instance, const ParcelWriter& parcel);
// Makes the nth next send fail because the connection is closed. Calls the disconnected callback
// during the send, as a device may.
void DisconnectDuringSend(int nth = 1);
// The parcels that were sent on a connection, including a closed one.
std::vector<ParcelReader> Sent(const std::string& instance, rpc_port_port_type_e type);

// Several processes. Proxies, timers and idle enterers belong to the process in whose scope they
// were created, and their callbacks run in it. The stub belongs to the process "", in whose scope
// everything else runs.
class ProcessScope {
 public:
  explicit ProcessScope(const std::string& app_id);
  ProcessScope(const ProcessScope&) = delete;
  ProcessScope& operator=(const ProcessScope&) = delete;
  ~ProcessScope();

 private:
  const std::string outer_;
};
// Nothing that a dead process sends, connects to or launches has an effect. What it sent before can
// still be received.
void SetAlive(const std::string& app_id, bool is_alive);

// Connections of proxies to the stub of the same name, by instance, oldest first. What is sent on
// them waits to be delivered, in order per direction. The agent's application id is not checked.
std::vector<std::string> Links();
// Lets the stub accept the connection, receive the next parcel or the end of the connection.
// Returns false when there is nothing to deliver.
bool DeliverToStub(const std::string& link);
// The same for the proxy. Replies need no delivery: the proxy reads them when it waits for them.
bool DeliverToProxy(const std::string& link);
// The parcel that DeliverToProxy() would deliver next.
std::optional<ParcelReader> NextToProxy(const std::string& link);
// Ends the connection at both ends. What was not delivered is lost.
void Break(const std::string& link);
// Called when a proxy waits for a reply that is not there. By default the stub receives all parcels
// of the link.
void SetReplyWaiter(std::function<void(const std::string& link)> waiter);

}  // namespace fake

#endif
