// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "effects.h"

#include <fcntl.h>
#include <qor_agent.h>
#include <unistd.h>

#include <cstddef>
#include <cstdlib>
#include <sstream>

#include "handlers.h"

namespace chaos {

void AppendToAccount(const std::string& path, const std::string& line) {
  const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
  const std::string text = line + '\n';
  // One call, so that lines of several processes do not mix.
  if (file < 0 || write(file, text.data(), text.size()) != static_cast<ssize_t>(text.size())) {
    std::abort();
  }
  close(file);
}

void EffectChecker::OnLine(const std::string& line) {
  std::istringstream fields(line);
  std::string event;
  std::string uuid;
  int number = 0;
  int is_amendment = 0;
  fields >> event >> uuid;
  Record& record = records_[uuid];
  if (event == "submit") {
    fields >> record.type;
  } else if (event == "result" && fields >> number) {
    OnResult(record, number);
  } else if (event == "outcome" && fields >> number >> is_amendment) {
    OnOutcome(uuid, record, number, is_amendment != 0);
  } else if (event == "effect") {
    ++record.effects;
    ++tally_.effects;
  } else {
    Check(false, uuid, "invalid line in the account: " + line);
  }
}

void EffectChecker::OnResult(Record& record, int code) {
  if (code == QOR_AGENT_ERROR_ALREADY_KNOWN) ++tally_.submitted_again;
  if (code == QOR_AGENT_ERROR_NONE || code == QOR_AGENT_ERROR_ALREADY_KNOWN) {
    record.is_accepted = true;
  } else if (!record.is_accepted) {
    record.is_rejected = true;
  }
}

void EffectChecker::OnOutcome(const std::string& uuid, Record& record, int kind,
                              bool is_amendment) {
  record.is_accepted = true;
  if (record.kind < 0) {
    Check(!is_amendment, uuid, "amended before it was reported");
  } else if (is_amendment && !record.is_amended) {
    Check(record.kind == QOR_AGENT_UNKNOWN, uuid, "amended, but was not unknown");
    ++tally_.amended;
  } else {
    Check(record.kind == kind, uuid, "reported with two outcomes");
    ++tally_.repeated;
  }
  record.kind = kind;
  record.is_amended = record.is_amended || is_amendment;
}

void EffectChecker::Finish() {
  for (const auto& [uuid, record] : records_) {
    if (record.is_accepted) {
      ++tally_.accepted;
    } else {
      ++(record.is_rejected ? tally_.rejected : tally_.unresolved);
    }
    if (record.kind >= 0) ++tally_.outcomes.at(static_cast<std::size_t>(record.kind));
    CheckRecord(uuid, record);
  }
}

void EffectChecker::CheckRecord(const std::string& uuid, const Record& record) {
  Check(!record.type.empty(), uuid, "was never submitted");
  Check(!record.is_accepted || record.kind >= 0, uuid, "accepted, but has no outcome");
  Check(record.is_accepted || record.effects == 0, uuid, "has an effect, but was not accepted");
  Check(!IsAtMostOnce(record.type) || record.effects <= 1, uuid, "has two effects");
  Check(record.kind != QOR_AGENT_SUCCEEDED || record.effects > 0, uuid,
        "succeeded without an effect");
  Check(record.kind != QOR_AGENT_NOT_DELIVERED || record.effects == 0, uuid,
        "has an effect, but was reported as not delivered");
}

void EffectChecker::Check(bool condition, const std::string& uuid, const std::string& violation) {
  if (!condition) violations_.push_back("durable command " + uuid + ": " + violation);
}

}  // namespace chaos
