// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "observation.h"

#include <algorithm>
#include <cmath>
#include <sstream>

namespace model {
namespace {

// Library and model add the same times in different orders.
constexpr double kRounding = 1e-9;

std::string Format(double number) {
  std::ostringstream out;
  out.precision(12);
  out << number;
  return out.str();
}
const std::string& Format(const std::string& text) { return text; }

std::string Format(const std::map<std::string, std::string>& values) {
  std::string text = "{";
  for (const auto& [key, value] : values) text += " " + key + "=" + value;
  return text + " }";
}

template <typename Container>
std::string FormatAll(const Container& container) {
  if (container.empty()) return "      (none)\n";
  std::string text;
  for (const auto& element : container) text += "      " + Format(element) + "\n";
  return text;
}

template <typename Container>
std::string Unequal(const char* what, const Container& expected, const Container& actual) {
  return std::string("    ") + what + ", expected:\n" + FormatAll(expected) + "    actual:\n" +
         FormatAll(actual);
}

template <typename Container>
std::string Compare(const char* what, const Container& expected, const Container& actual) {
  return expected == actual ? "" : Unequal(what, expected, actual);
}

bool SameTimes(const std::vector<double>& a, const std::vector<double>& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](double x, double y) { return x == y || std::abs(x - y) <= kRounding; });
}

}  // namespace

std::string FormatResponse(const std::string& uuid, int status, const std::string& result,
                           int result_length, const std::string& error, int error_length) {
  std::ostringstream out;
  out << "response " << uuid << " status " << status << " result '" << result << "' ("
      << result_length << ") error '" << error << "' (" << error_length << ")";
  return out.str();
}

std::string FormatNegotiation(const std::string& app, const std::string& uuid, double seconds) {
  return "negotiation " + app + " " + uuid + " " + Format(seconds) + " s";
}

std::string FormatHandler(const std::string& app, const std::vector<std::string>& types) {
  std::string text = app + " [";
  for (const std::string& type : types) text += " " + type;
  return text + " ]";
}

std::string FormatUpdate(int update, const std::string& handler) {
  return "handler update " + std::to_string(update) + " " + handler;
}

std::string FormatDelivery(const std::string& instance, const support::Delivery& delivery) {
  std::ostringstream out;
  out << instance << " callback " << delivery.callback_id << "::" << delivery.callback_sequence
      << (delivery.once ? " once" : "") << " argument " << delivery.argument << ": "
      << delivery.uuid << " " << delivery.request_type << " '" << delivery.payload << "' time "
      << delivery.timestamp << " " << Format(delivery.extra);
  return out.str();
}

std::string FormatLaunch(const std::string& app, const std::map<std::string, std::string>& extra) {
  return app + " " + Format(extra);
}

std::string Difference(const Observation& expected, const Observation& actual) {
  std::string text = Compare("returned", expected.returned, actual.returned);
  if (expected.reply != actual.reply) {
    text += "    reply, expected: " + expected.reply + ", actual: " + actual.reply + "\n";
  }
  text += Compare("callbacks", expected.callbacks, actual.callbacks);
  text += Compare("deliveries", expected.deliveries, actual.deliveries);
  text += Compare("launches", expected.launches, actual.launches);
  text += Compare("connections", expected.connections, actual.connections);
  if (!SameTimes(expected.due_times, actual.due_times)) {
    text += Unequal("timers due", expected.due_times, actual.due_times);
  }
  text += Compare("handlers", expected.handlers, actual.handlers);
  text += Compare("database", expected.database, actual.database);
  text += Compare("violations", expected.violations, actual.violations);
  return text;
}

}  // namespace model
