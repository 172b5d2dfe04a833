// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <dlog.h>

#include <stdexcept>

#include "figures/figures.h"
#include "figures/interleave.h"
#include "peers/bare-socket-peer.h"
#include "peers/dbus-peer.h"
#include "peers/library-peer.h"
#include "support/package-root.h"
#include "support/temporary-folder.h"

namespace bench {

namespace {

constexpr std::size_t kRounds = 40;

// The fastest available D-Bus, which the goals refer to.
struct BestDBus {
  std::unique_ptr<PeerProcess> broker;
  std::string name = "dbus-broker";
  std::string cause;  // of a missing dbus-broker
};

BestDBus StartBroker(const std::string& folder) {
  BestDBus best;
  try {
    best.broker = std::make_unique<PeerProcess>(
        [&folder] { return std::make_unique<DBusPeer>(std::make_unique<DBusBroker>(folder)); });
  } catch (const std::runtime_error& error) {
    best.name = "dbus-daemon";
    best.cause = error.what();
  }
  return best;
}

struct Comparison {
  Costs bare, daemon, library, best_dbus;
};

class RoundTrips {
 public:
  RoundTrips()
      : bare_([] { return std::make_unique<BareSocketPeer>(); }),
        daemon_([this] {
          return std::make_unique<DBusPeer>(std::make_unique<DBusDaemon>(daemon_folder_.Path()));
        }),
        best_dbus_(StartBroker(broker_folder_.Path())) {
    FillRoot(root_.Path(), 1, 1);
    library_ = std::make_unique<PeerProcess>(
        [this] { return std::make_unique<LibraryPeer>(root_.Path()); });
  }

  Comparison Compare(const Workload& workload) {
    std::vector<PeerProcess*> peers = {&bare_, library_.get(), &daemon_};
    if (best_dbus_.broker) peers.push_back(best_dbus_.broker.get());
    auto costs = Interleave(peers, workload, kRounds);
    return {costs[0], costs[2], costs[1], costs.back()};
  }

  const BestDBus& DBus() const { return best_dbus_; }

 private:
  TemporaryFolder daemon_folder_, broker_folder_, root_;
  PeerProcess bare_, daemon_;
  BestDBus best_dbus_;
  std::unique_ptr<PeerProcess> library_;
};

void AddOneAtATime(Report& report, RoundTrips& trips, std::size_t payload, double most) {
  const Comparison costs = trips.Compare({payload > 4096 ? 50u : 200u, payload});
  const auto wall = [](const Costs& of) { return Each(of, &Cost::wall); };
  report.BeginGroup("one command at a time, " + std::to_string(payload) + " bytes");
  report.Add(
      Ratio("time vs. bare socket", wall(costs.library), wall(costs.bare), "us", AtMost(most)));
  report.Add(Ratio("time vs. D-Bus, " + trips.DBus().name, wall(costs.library),
                   wall(costs.best_dbus), "us", AtMost(0.5)));
  if (trips.DBus().broker) {
    report.Add(Ratio("time vs. D-Bus, dbus-daemon", wall(costs.library), wall(costs.daemon), "us"));
  }
  report.Add(Ratio("CPU time vs. bare socket", Each(costs.library, &Cost::cpu),
                   Each(costs.bare, &Cost::cpu), "us"));
  report.Add(Ratio("CPU time vs. D-Bus, " + trips.DBus().name, Each(costs.library, &Cost::cpu),
                   Each(costs.best_dbus, &Cost::cpu), "us"));
}

// A ratio of rates is the inverse ratio of times.
void AddInFlight(Report& report, RoundTrips& trips) {
  const Comparison costs = trips.Compare({1000, 64, 64});
  const auto wall = [](const Costs& of) { return Each(of, &Cost::wall); };
  report.BeginGroup("64 commands in flight, 64 bytes");
  report.Add(Ratio("rate vs. bare socket", wall(costs.bare), wall(costs.library), "us per command",
                   AtLeast(1.0 / 3)));
  report.Add(Ratio("rate vs. D-Bus, " + trips.DBus().name, wall(costs.best_dbus),
                   wall(costs.library), "us per command", AtLeast(3)));
  if (trips.DBus().broker) {
    report.Add(Ratio("rate vs. D-Bus, dbus-daemon", wall(costs.daemon), wall(costs.library),
                     "us per command"));
  }
  report.Add(Ratio("CPU time vs. bare socket", Each(costs.library, &Cost::cpu),
                   Each(costs.bare, &Cost::cpu), "us"));
}

double NanosecondsPerFilteredLogLine() {
  constexpr int kLines = 100'000;
  Stopwatch watch;
  for (int i = 0; i < kLines; ++i) dlog_print(DLOG_DEBUG, "BENCH", "%s: %d > dropped", "text", i);
  return watch.Lap() * 1000 / kLines;
}

}  // namespace

void MeasureRoundTrips(Report& report) {
  RoundTrips trips;
  AddOneAtATime(report, trips, 64, 1.5);
  AddOneAtATime(report, trips, 1024, 1.5);
  AddOneAtATime(report, trips, 64 * 1024, 2.5);
  AddInFlight(report, trips);
  if (!trips.DBus().cause.empty()) {
    report.AddRemark("dbus-daemon instead of dbus-broker: " + trips.DBus().cause);
  }
  Samples lines;
  for (std::size_t round = 0; round < kRounds; ++round) {
    lines.push_back(NanosecondsPerFilteredLogLine());
  }
  report.Add({"filtered log line", "ns", SpreadOf(lines), {}, ""});
}

}  // namespace bench
