// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <algorithm>
#include <array>
#include <numeric>
#include <random>
#include <tuple>
#include <utility>

#include "extreme-numbers.h"
#include "model.h"
#include "sequence.h"

namespace model {
namespace {

using Texts = std::vector<std::string>;

struct KnownPackage {
  const char* id;
  Texts apps;
};
const std::vector<KnownPackage> kPackages{{"p", {"p0", "p1"}}, {"q", {"q0"}}, {"r", {"r0", "r1"}}};
const Texts kTypes{"t0", "t1", "t2", "t3"};
const Texts kPriorities{"50", "50",  "51",    "1",   "100",        "0",
                        "-7", "250", "12abc", "abc", "99999999999"};
const std::vector<int> kTimeouts{3000, 3000, 5000, 1000, 2000, 250, 60000, 1, 0, -1};
const std::vector<double> kTimes{0, 0.25, 0.25, 1, 3, 5, 0.1, 1000};
constexpr int kSlots = 2;

// The weight of each kind, in the order of `Kind`.
using Weights = std::array<int, 16>;
constexpr Weights kMixed{3, 1, 4, 2, 1, 1, 3, 30, 8, 4, 8, 16, 8, 1, 14, 1};
constexpr Weights kFill{0, 0, 0, 0, 0, 0, 1, 90, 2, 1, 2, 3, 1, 0, 2, 0};
constexpr Weights kDrain{0, 0, 0, 1, 0, 0, 2, 8, 3, 2, 3, 65, 6, 0, 12, 0};
constexpr Weights kChurn{0, 0, 0, 0, 0, 0, 1, 40, 2, 0, 2, 35, 4, 0, 16, 0};
constexpr Weights kTime{0, 0, 0, 1, 0, 0, 3, 10, 4, 3, 8, 6, 15, 0, 50, 0};
constexpr Weights kPackaging{20, 6, 30, 0, 0, 2, 4, 12, 5, 3, 4, 4, 0, 0, 4, 2};

std::size_t Sum(const Weights& weights) {
  return static_cast<std::size_t>(std::accumulate(weights.begin(), weights.end(), 0));
}

class Generator {
 public:
  explicit Generator(Choose choose) : choose_(std::move(choose)) {}

  // Generates phases with different weights.
  std::vector<Operation> Generate();
  // Generates one mixed phase.
  std::vector<Operation> GenerateUntil(const std::function<bool()>& is_exhausted);

 private:
  std::size_t Below(std::size_t limit) { return choose_(limit); }
  bool Chance(std::size_t percent) { return Below(100) < percent; }
  template <typename T>
  const T& OneOf(const std::vector<T>& all) {
    return all[Below(all.size())];
  }

  void AddPreamble();
  void AddPhase(const Weights& weights, std::size_t length);
  void AddRandom(const Weights& weights, std::size_t total);
  void Add(const Operation& operation);
  Operation Random(Kind kind);
  Package RandomPackage(const KnownPackage& known);
  void FillSend(Operation* operation);
  void FillReaction(Operation* operation);
  void FillConnection(Operation* operation);
  void FillCall(Operation* operation);
  std::string RandomUuid();
  std::string PendingUuid(const std::string& app);
  std::string RandomApp() { return OneOf(OneOf(kPackages).apps); }
  double RandomTime();

  const Choose choose_;
  Model model_;
  std::vector<Operation> operations_;
  // The type of most commands of a phase, so that one handler has many pending commands.
  std::string favourite_type_;
  int last_uuid_ = 0;
};

std::vector<Operation> Generator::Generate() {
  AddPreamble();
  const std::size_t size = Below(100);
  const bool is_long = size == 0;
  const std::size_t phases = is_long ? 8 : size < 8 ? 5 : 1 + Below(2);
  for (std::size_t i = 0; i < phases; ++i) {
    favourite_type_ = OneOf(kTypes);
    const std::size_t length = 4 + Below(is_long ? 60 : 14);
    switch (Below(8)) {
      case 0:
        AddPhase(kFill, is_long ? 4 * length : length);
        break;
      case 1:
        AddPhase(kDrain, is_long ? 2 * length : length);
        break;
      case 2:
        AddPhase(kTime, length);
        break;
      case 3:
        AddPhase(kPackaging, length);
        break;
      case 4:
      case 5:
        AddPhase(kChurn, 2 * length);
        break;
      default:
        AddPhase(kMixed, length);
    }
  }
  return operations_;
}

std::vector<Operation> Generator::GenerateUntil(const std::function<bool()>& is_exhausted) {
  AddPreamble();
  favourite_type_ = OneOf(kTypes);
  while (!is_exhausted()) AddRandom(kMixed, Sum(kMixed));
  return operations_;
}

void Generator::AddPreamble() {
  for (const KnownPackage& known : kPackages) {
    if (!Chance(70)) continue;
    Operation put;
    put.kind = Kind::kPutPackage;
    put.package = RandomPackage(known);
    Add(put);
  }
  for (const Listen listen : {Listen::kResponses, Listen::kNegotiations, Listen::kUpdates}) {
    Operation operation;
    operation.kind = Kind::kListen;
    operation.listen = listen;
    if (Chance(listen == Listen::kResponses ? 90 : 60)) Add(operation);
  }
}

void Generator::AddPhase(const Weights& weights, std::size_t length) {
  const std::size_t total = Sum(weights);
  for (std::size_t i = 0; i < length; ++i) AddRandom(weights, total);
}

void Generator::AddRandom(const Weights& weights, std::size_t total) {
  int left = static_cast<int>(Below(total));
  std::size_t kind = 0;
  while (left >= weights[kind]) left -= weights[kind++];
  Add(Random(static_cast<Kind>(kind)));
}

void Generator::Add(const Operation& operation) {
  if (!model_.Allows(operation)) return;
  model_.Apply(operation);
  operations_.push_back(operation);
}

Operation Generator::Random(Kind kind) {
  Operation operation;
  operation.kind = kind;
  switch (kind) {
    case Kind::kPutPackage:
      operation.package = RandomPackage(OneOf(kPackages));
      break;
    case Kind::kDropPackage:
      operation.package.id = OneOf(kPackages).id;
      break;
    case Kind::kRaiseEvent:
      operation.package.id = OneOf(kPackages).id;
      operation.event = Chance(90) ? static_cast<Event>(Below(3)) : static_cast<Event>(Below(5));
      break;
    case Kind::kConfigure:
      operation.execution_timeout = OneOf(kTimeouts);
      operation.connection_timeout = OneOf(kTimeouts);
      break;
    case Kind::kListen:
      operation.listen = static_cast<Listen>(Below(3));
      break;
    case Kind::kReact:
      FillReaction(&operation);
      break;
    case Kind::kSend:
      FillSend(&operation);
      if (Chance(4)) operation.failure = static_cast<Failure>(1 + Below(3));
      break;
    case Kind::kConnect:
      operation.app = RandomApp();
      operation.slot = static_cast<int>(Below(kSlots));
      break;
    case Kind::kAdvance:
      operation.seconds = RandomTime();
      break;
    case Kind::kInitialize:
    case Kind::kShutDown:
      break;
    default:
      FillCall(&operation);
  }
  return operation;
}

Package Generator::RandomPackage(const KnownPackage& known) {
  Package package;
  package.id = known.id;
  package.preloaded = Chance(15);
  for (const std::string& id : known.apps) {
    if (Chance(10)) continue;
    support::HandlerApp app;
    app.id = id;
    if (Chance(92)) {
      app.request_types.emplace();
      for (const std::string& type : kTypes) {
        if (Chance(45)) app.request_types->push_back(type);
      }
    }
    app.priority = OneOf(kPriorities);
    if (Chance(10)) app.priority.reset();
    package.apps.push_back(app);
  }
  return package;
}

void Generator::FillSend(Operation* operation) {
  operation->uuid = Chance(85) ? "u" + std::to_string(++last_uuid_) : RandomUuid();
  operation->type = Chance(80) ? favourite_type_ : OneOf(kTypes);
  operation->text = "{\"n\":" + std::to_string(Below(1000)) + "}";
  operation->length = static_cast<int>(operation->text.size());
  operation->timestamp = static_cast<long long>(Below(2000000000));
  if (Chance(94)) return;
  switch (Below(8)) {
    case 0:
      operation->uuid.clear();
      break;
    case 1:
      operation->type.clear();
      break;
    case 2:
      operation->type = "unknown";
      break;
    case 3:
      operation->timestamp = -1;
      break;
    case 4:
      operation->length += static_cast<int>(Below(3)) - 1;
      break;
    case 5:
      operation->length = -1;
      break;
    default:
      operation->has_text = false;
      operation->length = static_cast<int>(Below(3)) - 1;
  }
}

void Generator::FillReaction(Operation* operation) {
  FillSend(operation);
  operation->execution_timeout = OneOf(kTimeouts);
  operation->connection_timeout = OneOf(kTimeouts);
  const std::size_t which = Below(20);
  operation->reaction = which < 14   ? Reaction::kSend
                        : which < 17 ? Reaction::kConfigure
                        : which < 19 ? Reaction::kShutDown
                                     : Reaction::kRestart;
}

void Generator::FillConnection(Operation* operation) {
  std::vector<std::pair<std::string, int>> open;
  for (const KnownPackage& known : kPackages) {
    for (const std::string& app : known.apps) {
      for (int slot = 0; slot < kSlots; ++slot) {
        if (model_.IsConnected(app, slot)) open.emplace_back(app, slot);
      }
    }
  }
  if (!open.empty()) std::tie(operation->app, operation->slot) = OneOf(open);
}

void Generator::FillCall(Operation* operation) {
  FillConnection(operation);
  operation->uuid = Chance(85) ? PendingUuid(operation->app) : RandomUuid();
  switch (operation->kind) {
    case Kind::kFetch:
      operation->callback = Chance(90) ? static_cast<int>(Below(10)) : OneOf(support::kExtremeInts);
      operation->once = Chance(8);
      if (Chance(3)) operation->failure = Failure::kTimer;
      break;
    case Kind::kAnswer:
      operation->text = Chance(80) ? "{\"r\":1}" : "";
      operation->status =
          Chance(90) ? static_cast<int>(Below(4)) - 1 : OneOf(support::kExtremeInts);
      operation->error = Chance(20) ? "{\"e\":2}" : "";
      break;
    case Kind::kNegotiate:
      operation->seconds = Chance(80)   ? OneOf(kTimes)
                           : Chance(30) ? OneOf(support::kNaNs)
                                        : OneOf(support::kExtremeDoubles);
      operation->status = Chance(70) ? 0 : static_cast<int>(Below(4)) - 1;
      break;
    default:
      break;
  }
}

std::string Generator::RandomUuid() {
  return "u" + std::to_string(1 + Below(static_cast<std::size_t>(last_uuid_) + 1));
}

std::string Generator::PendingUuid(const std::string& app) {
  const Texts uuids = model_.PendingUuids(app);
  if (uuids.empty()) return RandomUuid();
  return Chance(30) ? uuids.front() : Chance(20) ? uuids.back() : OneOf(uuids);
}

double Generator::RandomTime() {
  std::vector<double> due = model_.Time().DueTimes();
  // Beyond that, differences between times are lost to rounding.
  constexpr double kLatest = 1e6;
  due.erase(std::upper_bound(due.begin(), due.end(), kLatest), due.end());
  if (due.empty() || Chance(35)) return OneOf(kTimes);
  const double until = (Chance(50) ? due.front() : OneOf(due)) - model_.Time().Now();
  return Chance(75) ? until : until / 2;
}

}  // namespace

std::vector<Operation> Generate(std::uint64_t seed) {
  std::mt19937_64 random(seed);
  return Generator(
             [&random](std::size_t limit) { return static_cast<std::size_t>(random() % limit); })
      .Generate();
}

std::vector<Operation> Generate(const Choose& choose, const std::function<bool()>& is_exhausted) {
  return Generator(choose).GenerateUntil(is_exhausted);
}

}  // namespace model
