// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_AGENT_SRC_RECORDS_H_
#define QOR_AGENT_SRC_RECORDS_H_

#include <qor_agent.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace qor::agent {

// Milliseconds of a monotonic clock that starts at the boot.
using BootMs = std::int64_t;
// Milliseconds since 1970-01-01 UTC.
using WallMs = std::int64_t;
// Longer times are cut to this, which is about 285000 years, so that no sum of times overflows.
inline constexpr std::int64_t kMaxMs = 9'000'000'000'000'000;

struct Outcome {
  qor_agent_outcome_kind_e kind = QOR_AGENT_UNKNOWN;
  qor_agent_reason_e reason = QOR_AGENT_REASON_NONE;
  int status = 0;
  std::string result;
  std::string error;
  bool is_amendment = false;
};

// The numbers are stored in journals.
enum class State {
  // Not delivered.
  kHeld = 0,
  // Handed to the library, or about to be: may be delivered.
  kSent = 1,
  // Has an outcome, which the program has not confirmed.
  kEnded = 2,
  // Its outcome is confirmed. Remembered so that the uuid is not accepted again.
  kConfirmed = 3,
};

// A command with its state.
struct Command {
  // Order of submission; also the key in the journal.
  std::int64_t sequence = 0;
  std::string uuid;
  std::string type;
  std::string payload;
  std::int64_t timestamp = 0;
  qor_agent_policy_e policy = QOR_AGENT_AT_MOST_ONCE;
  bool waits_for_handler = false;
  WallMs deadline_wall = 0;
  // The same moment by the clock that decides.
  BootMs deadline = 0;
  // How far handlers have moved the deadline.
  std::int64_t extended_ms = 0;
  State state = State::kHeld;
  // An attempt before the present one may have been delivered. Not stored: after a restart every
  // attempt is a past one.
  bool was_sent_before = false;
  // The library has it. Not stored either.
  bool is_in_flight = false;
  // Of kEnded and kConfirmed; before, `reason` is the last attempt's failure.
  Outcome outcome;

  bool HasOutcome() const { return state == State::kEnded || state == State::kConfirmed; }
  std::size_t Bytes() const {
    return uuid.size() + type.size() + payload.size() + outcome.result.size() +
           outcome.error.size();
  }
};

}  // namespace qor::agent

#endif
