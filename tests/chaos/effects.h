// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_EFFECTS_H_
#define TESTS_CHAOS_EFFECTS_H_

#include <map>
#include <string>
#include <vector>

namespace chaos {

// The account of durable commands: a file to which agent and handlers append lines.
//
//   submit UUID TYPE         before the call
//   result UUID CODE         its result, a qor_agent_error_e
//   outcome UUID KIND N      reported; KIND is a qor_agent_outcome_kind_e, N is 1 for an amendment
//   effect UUID              the handler's function has done its work, and has not answered yet

// Environment variable of handlers with the path of the account.
inline constexpr char kAccountVariable[] = "QOR_CHAOS_ACCOUNT";

// Appends a line. Aborts on a write error, since an incomplete account cannot be checked.
void AppendToAccount(const std::string& path, const std::string& line);

// Compares outcomes with effects: each accepted command has one outcome, which is reported until it
// is confirmed, or one unknown outcome and then its amendment. Of at-most-once functions none has
// two effects. A succeeded command has an effect; one that was rejected or not delivered has none.
class EffectChecker {
 public:
  struct Tally {
    int accepted = 0;
    int submitted_again = 0;  // known already
    int rejected = 0;
    int unresolved = 0;  // the agent was killed in the call, and nothing was heard of it again
    std::vector<int> outcomes{0, 0, 0, 0};  // by kind, the last one reported
    int amended = 0;
    int repeated = 0;  // reports of outcomes that were reported before
    int effects = 0;
  };

  void OnLine(const std::string& line);
  // Called once, after the last line.
  void Finish();

  const Tally& GetTally() const { return tally_; }
  const std::vector<std::string>& Violations() const { return violations_; }

 private:
  struct Record {
    std::string type;
    bool is_accepted = false;
    bool is_rejected = false;
    int kind = -1;  // not reported
    bool is_amended = false;
    int effects = 0;
  };

  void OnResult(Record& record, int code);
  void OnOutcome(const std::string& uuid, Record& record, int kind, bool is_amendment);
  void CheckRecord(const std::string& uuid, const Record& record);
  void Check(bool condition, const std::string& uuid, const std::string& violation);

  std::map<std::string, Record> records_;
  Tally tally_;
  std::vector<std::string> violations_;
};

}  // namespace chaos

#endif
