// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Measures the round trip of one command to a connected handler beside its peers, in one run, all
// processes on one core: across cores, wake-ups would drown everything else.
//
//   round-trip PACKAGES_FOLDER

#include <dlog.h>
#include <sched.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "bare-socket-peer.h"
#include "dbus-peer.h"
#include "library-peer.h"

namespace {

constexpr std::size_t kRounds = 30;
constexpr std::size_t kRoundTripsPerRound = 300;
constexpr std::size_t kPayloads[] = {64, 1024, 64 * 1024};

// What the library must reach, small commands taken.
constexpr double kMostTimesTheSocket = 3.0;

void PinToOneCore() {
  cpu_set_t cores;
  CPU_ZERO(&cores);
  CPU_SET(sched_getcpu(), &cores);
  sched_setaffinity(0, sizeof cores, &cores);
}

double Quantile(std::vector<double> samples, double fraction) {
  const auto at = samples.begin() +
                  static_cast<std::ptrdiff_t>(fraction * static_cast<double>(samples.size() - 1));
  std::nth_element(samples.begin(), at, samples.end());
  return *at;
}

double NanosecondsOfADroppedLogLine() {
  constexpr int kLines = 1'000'000;
  bench::Stopwatch watch;
  for (int i = 0; i < kLines; ++i) dlog_print(DLOG_DEBUG, "BENCH", "%s: %d > dropped", "text", i);
  return watch.Lap() * 1000 / kLines;
}

// Prints the row of each peer; returns the medians in the order of the peers.
std::vector<double> Compare(std::vector<std::unique_ptr<bench::Peer>>& peers,
                            std::size_t payload_bytes) {
  std::vector<std::vector<double>> samples(peers.size());
  for (std::size_t round = 0; round < kRounds; ++round) {
    for (std::size_t i = 0; i < peers.size(); ++i) {
      peers[i]->Measure(kRoundTripsPerRound, payload_bytes, samples[i]);
    }
  }
  std::vector<double> medians;
  std::printf("\npayload of %zu bytes%27s%12s%12s%10s\n", payload_bytes, "median us", "p10", "p90",
              "ratio");
  for (std::size_t i = 0; i < peers.size(); ++i) {
    medians.push_back(Quantile(samples[i], 0.5));
    std::printf("  %-34s%10.1f%12.1f%12.1f%10.2f\n", peers[i]->Name().c_str(), medians[i],
                Quantile(samples[i], 0.1), Quantile(samples[i], 0.9), medians[i] / medians[0]);
  }
  return medians;
}

int Run(const std::string& packages) {
  PinToOneCore();
  char root[] = "/tmp/qor-bench-XXXXXX";
  if (mkdtemp(root) == nullptr) throw std::runtime_error("mkdtemp failed");
  setenv("QOR_PLATFORM_ROOT", root, 1);
  bool reached = false;
  {
    // The forking peers first, before there is a main loop.
    std::vector<std::unique_ptr<bench::Peer>> peers;
    peers.push_back(std::make_unique<bench::BareSocketPeer>());
    peers.push_back(std::make_unique<bench::DBusPeer>());
    peers.push_back(std::make_unique<bench::LibraryPeer>(packages));
    for (const std::size_t payload : kPayloads) {
      const auto medians = Compare(peers, payload);
      if (payload == kPayloads[0]) {
        reached = medians[2] <= kMostTimesTheSocket * medians[0] && medians[2] < medians[1];
      }
    }
  }
  std::filesystem::remove_all(root);
  std::printf("\na log line that the filter drops: %.1f ns\n", NanosecondsOfADroppedLogLine());
  std::printf("%s: at most %.0f times the bare socket and below D-Bus, payload of %zu bytes\n",
              reached ? "reached" : "NOT reached", kMostTimesTheSocket, kPayloads[0]);
  return reached ? 0 : 1;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc != 2) {
    std::fprintf(stderr, "usage: %s PACKAGES_FOLDER\n", argv[0]);
    return 2;
  }
  try {
    return Run(argv[1]);
  } catch (const std::exception& error) {
    std::fprintf(stderr, "%s: %s\n", argv[0], error.what());
    return 1;
  }
}
