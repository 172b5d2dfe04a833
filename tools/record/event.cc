// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "record/event.h"

#include <algorithm>
#include <array>

namespace tools::record {

namespace {

constexpr Member kUuid{"uuid", &Event::uuid};
constexpr Member kHandler{"handler", &Event::handler};
constexpr Member kInstance{"instance", &Event::instance};
constexpr Member kStatus{"status", &Event::status};
constexpr Member kCode{"code", &Event::code};

struct Kind {
  EventKind kind;
  const char* name;
  std::vector<Member> members;
};

// In the order of the enumeration.
const std::vector<Kind>& Kinds() {
  static const std::vector<Kind> kinds = {
      {EventKind::kStart, "start", {{"program", &Event::program}, {"wall", &Event::wall}}},
      {EventKind::kSent, "sent", {kUuid, {"type", &Event::type}, {"payload", &Event::payload}}},
      {EventKind::kRouted, "routed", {kUuid, kHandler}},
      {EventKind::kLaunched, "launched", {kUuid, kHandler, kCode}},
      {EventKind::kAccepted, "accepted", {kUuid}},
      {EventKind::kRefused, "refused", {kUuid, kCode}},
      {EventKind::kConnected, "connected", {kHandler, kInstance}},
      {EventKind::kDelivered, "delivered", {kUuid, kHandler, kInstance, kCode}},
      {EventKind::kExtension,
       "extension",
       {kUuid, kHandler, {"seconds", &Event::seconds}, {"granted", &Event::granted}}},
      {EventKind::kAnswered,
       "answered",
       {kUuid, kHandler, kStatus, {"result", &Event::result}, {"error", &Event::error}}},
      {EventKind::kTimedOut, "timed-out", {kUuid, {"limit", &Event::limit}}},
      {EventKind::kDisconnected, "disconnected", {kHandler, kInstance}},
      {EventKind::kExited,
       "exited",
       {kHandler,
        {"process", &Event::handler_process},
        kStatus,
        {"signal", &Event::signal},
        {"text", &Event::text}}},
      {EventKind::kStopped, "stopped", {}},
      {EventKind::kEnd, "end", {}},
  };
  return kinds;
}

}  // namespace

const char* NameOf(EventKind kind) { return Kinds()[static_cast<std::size_t>(kind)].name; }

std::optional<EventKind> FindKind(const std::string& name) {
  const auto found = std::find_if(Kinds().begin(), Kinds().end(), [&name](const Kind& candidate) {
    return candidate.name == name;
  });
  return found != Kinds().end() ? std::optional(found->kind) : std::nullopt;
}

const std::vector<Member>& MembersOf(EventKind kind) {
  return Kinds()[static_cast<std::size_t>(kind)].members;
}

}  // namespace tools::record
