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

// What can be seen of one operation, in words: the same words from the library and from the model.
struct Observation {
  std::vector<std::string> returned;    // return codes, of the client's calls inside callbacks too
  std::string reply;                    // to the handler's call
  std::vector<std::string> callbacks;   // of the client, in order
  std::vector<std::string> deliveries;  // in order of the connections' age, then in order
  std::vector<std::string> launches;    // in order
  std::vector<std::string> connections;
  std::vector<double> due_times;        // of the live timers, ascending
  std::multiset<std::string> handlers;  // as enumerated
  std::multiset<std::string> database;  // its entries
  std::vector<std::string> faults;
};

// Stands for the entries of a database file that does not exist.
inline constexpr char kNoDatabase[] = "no file";

// The words of both sides.
std::string ResponseWords(const std::string& uuid, int status, const std::string& result,
                          int result_length, const std::string& error, int error_length);
std::string NegotiationWords(const std::string& app, const std::string& uuid, double seconds);
std::string HandlerWords(const std::string& app, const std::vector<std::string>& types);
std::string UpdateWords(int update, const std::string& handler);
std::string DeliveryWords(const std::string& instance, const support::Delivery& delivery);
std::string LaunchWords(const std::string& app, const std::map<std::string, std::string>& extra);

// The differences in words; empty when there are none.
std::string Difference(const Observation& expected, const Observation& seen);

}  // namespace model

#endif
