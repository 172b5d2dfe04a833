// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "observation.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace model {
namespace {

// Sums of the same fractions in another order.
constexpr double kRounding = 1e-9;

std::string Words(double number) {
  std::ostringstream out;
  out.precision(12);
  out << number;
  return out.str();
}
const std::string& Words(const std::string& text) { return text; }

std::string Words(const std::map<std::string, std::string>& values) {
  std::string text = "{";
  for (const auto& [key, value] : values) text += " " + key + "=" + value;
  return text + " }";
}

template <typename Container>
std::string AllWords(const Container& container) {
  if (container.empty()) return "      nothing\n";
  std::string text;
  for (const auto& element : container) text += "      " + Words(element) + "\n";
  return text;
}

template <typename Container>
std::string Unequal(const char* what, const Container& expected, const Container& seen) {
  return std::string("    ") + what + ", expected:\n" + AllWords(expected) + "    seen:\n" +
         AllWords(seen);
}

template <typename Container>
std::string Compare(const char* what, const Container& expected, const Container& seen) {
  return expected == seen ? "" : Unequal(what, expected, seen);
}

bool SameTimes(const std::vector<double>& a, const std::vector<double>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](double x, double y) { return x == y || std::abs(x - y) <= kRounding; });
}

}  // namespace

std::string ResponseWords(const std::string& uuid, int status, const std::string& result,
                          int result_length, const std::string& error, int error_length) {
  std::ostringstream out;
  out << "response " << uuid << " status " << status << " result '" << result << "' ("
      << result_length << ") error '" << error << "' (" << error_length << ")";
  return out.str();
}

std::string NegotiationWords(const std::string& app, const std::string& uuid, double seconds) {
  return "negotiation " + app + " " + uuid + " " + Words(seconds) + " s";
}

std::string HandlerWords(const std::string& app, const std::vector<std::string>& types) {
  std::string text = app + " [";
  for (const std::string& type : types) text += " " + type;
  return text + " ]";
}

std::string UpdateWords(int update, const std::string& handler) {
  return "handler update " + std::to_string(update) + " " + handler;
}

std::string DeliveryWords(const std::string& instance, const support::Delivery& delivery) {
  std::ostringstream out;
  out << instance << " callback " << delivery.callback_id << "::" << delivery.callback_sequence
      << (delivery.once ? " once" : "") << " argument " << delivery.argument << ": "
      << delivery.uuid << " " << delivery.request_type << " '" << delivery.payload << "' time "
      << delivery.timestamp << " " << Words(delivery.extra);
  return out.str();
}

std::string LaunchWords(const std::string& app, const std::map<std::string, std::string>& extra) {
  return app + " " + Words(extra);
}

std::string Difference(const Observation& expected, const Observation& seen) {
  std::string text = Compare("returned", expected.returned, seen.returned);
  if (expected.reply != seen.reply) {
    text += "    reply, expected: " + expected.reply + ", seen: " + seen.reply + "\n";
  }
  text += Compare("callbacks", expected.callbacks, seen.callbacks);
  text += Compare("deliveries", expected.deliveries, seen.deliveries);
  text += Compare("launches", expected.launches, seen.launches);
  text += Compare("connections", expected.connections, seen.connections);
  if (!SameTimes(expected.due_times, seen.due_times)) {
    text += Unequal("timers due", expected.due_times, seen.due_times);
  }
  text += Compare("handlers", expected.handlers, seen.handlers);
  text += Compare("database", expected.database, seen.database);
  text += Compare("faults", expected.faults, seen.faults);
  return text;
}

}  // namespace model
