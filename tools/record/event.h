// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_TOOLS_RECORD_EVENT_H_
#define QOR_TOOLS_RECORD_EVENT_H_

#include <cstdint>
#include <string>
#include <variant>
#include <vector>

namespace tools::record {

// What can happen in a recorded program.
enum class EventKind {
  kStart,
  kSent,
  kRouted,
  kLaunched,
  kAccepted,
  kRefused,
  kConnected,
  kDelivered,
  kExtension,
  kAnswered,
  kTimedOut,
  kDisconnected,
  kStopped,
  kEnd,
};

// One line of a record. Which members count is up to the kind; see MembersOf().
struct Event {
  EventKind kind{};
  // Microseconds of the monotonic clock.
  std::int64_t time = 0;
  // Process id of the agent.
  std::int64_t process = 0;

  std::string uuid;
  std::string type;
  std::string payload;
  // Application id.
  std::string handler;
  // The platform's name of one connection.
  std::string instance;
  std::string result;
  std::string error;
  // Which time was up: "connection" or "execution".
  std::string limit;
  std::string program;
  // Microseconds since 1970, by the clock on the wall.
  std::int64_t wall = 0;
  // How a handler says that the command ended; 0 is success.
  std::int64_t status = 0;
  // What the library or the platform returned; 0 is success.
  std::int64_t code = 0;
  double seconds = 0;
  bool granted = false;
};

// A member of a line and where it is kept.
struct Member {
  const char* key;
  std::variant<std::string Event::*, std::int64_t Event::*, double Event::*, bool Event::*> place;
};

// The word that stands in a line for the kind.
const char* NameOf(EventKind kind);
// Sets the kind of that name; false when there is none.
bool FindKind(const std::string& name, EventKind* kind);
// What lines of the kind hold besides time, process and name.
const std::vector<Member>& MembersOf(EventKind kind);

}  // namespace tools::record

#endif
