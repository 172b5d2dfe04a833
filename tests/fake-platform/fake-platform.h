// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAKE_PLATFORM_FAKE_PLATFORM_H_
#define TESTS_FAKE_PLATFORM_FAKE_PLATFORM_H_

// What tests tell the fake platform and ask it. Everything is called on the thread that called
// Reset(), which is the main loop's thread; the platform's own functions keep their thread rules.

#include <Ecore.h>
#include <package_manager.h>
#include <rpc-port.h>

#include <functional>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "parcel-codec.h"

namespace fake {

// Forgets everything and makes the calling thread the main loop's thread, of a loop that is
// initialized once. Handles given out before are unknown from now on; releasing one is tolerated.
void Reset();

// Script: the nth call from now of a platform function fails with `error`. A function that returns
// a pointer returns null and sets the thread's last result; one that releases something releases it
// all the same, since nobody could ask again.
void Fail(const std::string& function, int error, int nth = 1);
// Every call from now on fails; 0 ends it.
void FailAlways(const std::string& function, int error);

// Calls of platform functions in order, dlog_print excepted. `detail` holds the one argument that
// tells calls apart, where there is one: a privilege, an application id, seconds.
struct Call {
  std::string function;
  std::string detail;
};
std::vector<Call> Calls();
int CallCount(const std::string& function);

// Misuse of the platform: operations on unknown or released handles, timers touched on another
// thread. Empty in a correct program.
std::vector<std::string> Faults();

// Which side of the platform's functions the calling thread is on: the code under test, from within
// a callback that the platform runs or where a test says so; the platform, from within one of its
// functions; or the test. What tests do to the code under test only can so be told from the rest.
enum class Side { kTest, kCaller, kPlatform };
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

// What is still held, for example "2 bundles, 1 timer"; empty when everything is released.
std::string Held();
// One kind of Held(): "stub", "parcel", "app control", "package manager", "package info",
// "app info", "metadata filter", "bundle", "timer".
int Held(const std::string& kind);

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
// How often the loop was initialised and not shut down.
int LoopUsers();
// Moves the clock on and fires what falls due, in due order, each at its own time.
void Advance(double seconds);
struct TimerView {
  Ecore_Timer* handle;
  double due;
  double interval;
};
// Live timers in due order.
std::vector<TimerView> Timers();
// Runs the calls that other threads have handed to the main loop until the condition holds.
// Returns false when it does not within ten seconds of real time.
bool RunUntil(const std::function<bool()>& condition);

// The application's own data folder: a temporary folder made on first use and removed by the next
// Reset() and at the end of the process, unless set. Ends with a slash.
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
// Adds or replaces; raises no event.
void Install(const Package& package);
void Uninstall(const std::string& package_id);
// Raises one event in every package manager that has a callback and asked for its kind. A null type
// is passed on as null. `event_type` may be any number: devices have types that older headers do
// not name. Types after PACKAGE_MANAGER_EVENT_TYPE_UPDATE are delivered whatever was asked for.
void RaisePackageEvent(const char* type, const std::string& package_id, int event_type,
                       package_manager_event_state_e state);

// The listening stub. Connect() and Receive() throw std::logic_error when the other side could not
// do this on a real platform: nobody listens, no such connection.
bool IsListening();
void Connect(const std::string& sender, const std::string& instance);
void Disconnect(const std::string& instance);
bool IsConnected(const std::string& instance);
// Delivers one parcel on the main port and returns what the received callback returned. Anything
// but 0 ends the connection, as the platform does.
int Receive(const std::string& instance, const ParcelWriter& parcel);
// Script: the nth send from now finds the connection closed. It reports the disconnection from
// within and fails, as a device may.
void DisconnectDuringSend(int nth = 1);
// What was sent on a connection so far, also after its end.
std::vector<ParcelReader> Sent(const std::string& instance, rpc_port_port_type_e type);

}  // namespace fake

#endif
