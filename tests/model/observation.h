// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_MODEL_OBSERVATION_H_
#define TESTS_MODEL_OBSERVATION_H_

#include <map>
#include <set>
#include <string>
#include <vector>

#include "handler-peer.h"

namespace model {

// The observable effects of one operation as texts, formatted alike by driver and model.
struct Observation {
  std::vector<std::string> returned;    // return codes, including calls inside callbacks
  std::string reply;                    // to the handler's call
  std::vector<std::string> callbacks;   // of the client, in order
  std::vector<std::string> deliveries;  // in order of the connections' age, then in order
  std::vector<std::string> launches;    // in order
  std::vector<std::string> connections;
  std::vector<double> due_times;        // of the active timers, ascending
  std::multiset<std::string> handlers;  // as enumerated
  std::multiset<std::string> database;  // entries
  std::vector<std::string> violations;  // of the platform's contract and of the test's expectations
};

// The only "entry" of a missing database file.
inline constexpr char kNoDatabase[] = "no file";

// The texts of an observation.
std::string FormatResponse(const std::string& uuid, int status, const std::string& result,
                           int result_length, const std::string& error, int error_length);
std::string FormatNegotiation(const std::string& app, const std::string& uuid, double seconds);
std::string FormatHandler(const std::string& app, const std::vector<std::string>& types);
std::string FormatUpdate(int update, const std::string& handler);
std::string FormatDelivery(const std::string& instance, const support::Delivery& delivery);
std::string FormatLaunch(const std::string& app, const std::map<std::string, std::string>& extra);

// Describes the differences; empty when there are none.
std::string Difference(const Observation& expected, const Observation& actual);

}  // namespace model

#endif
