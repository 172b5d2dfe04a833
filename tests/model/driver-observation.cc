// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Collects the effects of an operation, except for the client's callbacks.

#include <algorithm>
#include <utility>

#include "driver.h"
#include "fake-platform.h"
#include "handler-package.h"

namespace model {
namespace {

// The entries of the database file, split at the text that begins each.
std::multiset<std::string> ReadDatabase(const std::string& path) {
  if (!support::FileExists(path)) return {kNoDatabase};
  const std::string begin = R"({"handlers":[)";
  const std::string end = "]}";
  const std::string separator = R"(,{"handlerType":)";
  const std::string text = support::ReadFile(path);
  if (text.size() < begin.size() + end.size() || text.compare(0, begin.size(), begin) != 0 ||
      text.compare(text.size() - end.size(), end.size(), end) != 0) {
    return {"invalid database: " + text};
  }
  const std::string list = text.substr(begin.size(), text.size() - begin.size() - end.size());
  std::multiset<std::string> entries;
  for (std::size_t from = 0; from < list.size();) {
    const std::size_t to = std::min(list.find(separator, from), list.size());
    entries.insert(list.substr(from, to - from));
    from = to + 1;
  }
  return entries;
}

}  // namespace

void Driver::ObserveDeliveries() {
  const int sends = fake::CallCount("rpc_port_parcel_send");
  const int replies = observation_.reply.empty() ? 0 : 1;
  if (std::exchange(seen_sends_, sends) + replies == sends) return;
  for (Connection& connection : connections_) {
    const auto deliveries = connection.peer.Deliveries();
    for (std::size_t i = connection.seen_deliveries; i < deliveries.size(); ++i) {
      observation_.deliveries.push_back(FormatDelivery(connection.peer.Instance(), deliveries[i]));
    }
    connection.seen_deliveries = deliveries.size();
  }
}

void Driver::ObserveLaunches() {
  const int requests = fake::CallCount("app_control_send_launch_request");
  if (std::exchange(seen_requests_, requests) == requests) return;
  const auto launches = fake::Launches();
  for (; seen_launches_ < launches.size(); ++seen_launches_) {
    const fake::Launch& launch = launches[seen_launches_];
    observation_.launches.push_back(FormatLaunch(launch.app_id, launch.extra_data));
  }
}

void Driver::ObservePlatform() {
  for (const Connection& connection : connections_) {
    const std::string& instance = connection.peer.Instance();
    if (fake::IsConnected(instance)) observation_.connections.push_back(instance);
  }
  for (const auto& timer : fake::Timers()) observation_.due_times.push_back(timer.due);
  if (started_) {
    for (const auto& info : support::Client::Handlers()) {
      observation_.handlers.insert(FormatHandler(info.app_id, info.request_types));
    }
  }
  observation_.database = ReadDatabase(fake::DataPath() + ".qor-handlers.db");
  observation_.violations = fake::UsageErrors();
}

}  // namespace model
