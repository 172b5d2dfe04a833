// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_MODEL_OPERATION_H_
#define TESTS_MODEL_OPERATION_H_

#include <string>
#include <vector>

#include "handler-package.h"

namespace model {

enum class Kind {
  kPutPackage,   // adds or replaces `package` in the package database, without an event
  kDropPackage,  // removes it from the database, without an event
  kRaiseEvent,   // raises the event `event` of the package
  kConfigure,    // initialize, with the two timeouts
  kInitialize,   // initialize, without a configuration
  kListen,       // sets the client's callback `listen`
  kReact,        // makes the client do `reaction` in its next callback
  kSend,         // the client sends a command
  kConnect,      // the application `app` opens its connection `slot`
  kDisconnect,   // the application closes the connection
  kFetch,        // the handler fetches commands
  kAnswer,       // the handler answers `uuid`
  kNegotiate,    // the handler requests `seconds`; the client's callback returns `status`
  kCallUnknown,  // the handler calls an unknown method
  kAdvance,      // the clock advances by `seconds`
  kShutDown,
};

enum class Event { kInstalled, kUpdated, kUninstalling, kUninstalled, kForeignType };
enum class Listen { kResponses, kNegotiations, kUpdates };
enum class Reaction { kNone, kSend, kConfigure, kShutDown, kRestart };
// A platform function that fails during the operation.
enum class Failure { kNone, kExtraData, kLaunch, kTimer };

struct Package {
  std::string id;
  std::vector<support::HandlerApp> apps;
  bool preloaded = false;
};

// One step of a sequence. Each kind uses the fields that its comment names.
struct Operation {
  Kind kind = Kind::kShutDown;
  Package package;
  Event event = Event::kInstalled;
  Listen listen = Listen::kResponses;
  Reaction reaction = Reaction::kNone;
  Failure failure = Failure::kNone;
  std::string app;
  int slot = 0;
  std::string uuid;
  std::string type;
  std::string text;      // payload or result
  std::string error;     // of an answer
  bool has_text = true;  // false: a null payload
  int length = 0;        // of the payload, as passed by the client
  long long timestamp = 0;
  int status = 0;    // of an answer, or the client's reply to a negotiation
  int callback = 0;  // sequence number of a callback
  bool once = false;
  double seconds = 0;
  int execution_timeout = 0;  // milliseconds
  int connection_timeout = 0;
};

std::string Describe(const Operation& operation);
// One numbered line per operation.
std::string Describe(const std::vector<Operation>& operations);

}  // namespace model

#endif
