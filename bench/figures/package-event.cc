// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <package_manager.h>
#include <rapidjson/document.h>
#include <rapidjson/istreamwrapper.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "agent/agent.h"
#include "figures/figures.h"
#include "support/cpu-time.h"
#include "support/operation-end.h"
#include "support/package-root.h"
#include "support/temporary-folder.h"
#include "support/worker.h"

namespace bench {

namespace {

constexpr std::size_t kRounds = 15;
constexpr std::size_t kHandlers = 1000;
constexpr int kTimeoutMs = 20'000;
constexpr double kLimitSeconds = 20;

// What an agent has heard of an operation.
struct Heard {
  bool handler = false;
  bool end = false;
};

// Answers with the CPU time that it took to hear of one operation on a handler.
Worker::Task Listen() {
  auto agent = std::make_shared<tools::Agent>(kTimeoutMs, kTimeoutMs);
  auto heard = std::make_shared<Heard>();
  agent->SetUpdateListener([heard](const tools::Agent::Update&) { heard->handler = true; });
  WatchForTheEndOfOperations(&heard->end);
  return [agent, heard](const Numbers&) -> Numbers {
    *heard = {};
    const double before = CpuTimeOf(getpid());
    if (!tools::RunUntil([&] { return heard->handler && heard->end; }, kLimitSeconds)) {
      throw std::runtime_error("the agent hears of no handler");
    }
    return {CpuTimeOf(getpid()) - before};
  };
}

enum Operation { kInstall, kUpdate, kUninstall };

void Carry(Operation operation) {
  package_manager_request_h request = nullptr;
  int id = 0;
  package_manager_request_create(&request);
  const int result = operation == kUninstall
                         ? package_manager_request_uninstall(request, "org.example.echo", &id)
                         : package_manager_request_install(request, EchoPackage().c_str(), &id);
  package_manager_request_destroy(request);
  if (result != 0) throw std::runtime_error("the example package is not installed or removed");
}

Worker::Task Operate() {
  return [](const Numbers& numbers) -> Numbers {
    Carry(static_cast<Operation>(numbers[0]));
    return {};
  };
}

// Answers with the CPU time of serialising and writing what the agent has stored.
Worker::Task WriteRegistry(const std::string& root) {
  std::ifstream file(root + "/data/host.qor-bench/.qor-handlers.db");
  rapidjson::IStreamWrapper stream(file);
  auto document = std::make_shared<rapidjson::Document>();
  document->ParseStream(stream);
  if (!document->IsObject()) throw std::runtime_error("the agent has stored no handlers");
  return [document, root](const Numbers&) -> Numbers {
    const double before = CpuTimeOf(getpid());
    rapidjson::StringBuffer text;
    rapidjson::Writer<rapidjson::StringBuffer> writer(text);
    document->Accept(writer);
    std::ofstream(root + "/copy")
        .write(text.GetString(), static_cast<std::streamsize>(text.GetSize()));
    return {CpuTimeOf(getpid()) - before};
  };
}

}  // namespace

void MeasurePackageEvent(Report& report) {
  const TemporaryFolder root;
  FillRoot(root.Path(), kHandlers, kHandlers);
  const auto in_root = [&root](Worker::Task (*make)()) {
    return [&root, make] {
      setenv("QOR_PLATFORM_ROOT", root.Path().c_str(), 1);
      return make();
    };
  };
  Worker agent(in_root(Listen));
  Worker installer(in_root(Operate));
  const auto measure = [&](Operation operation) {
    agent.Send({});
    installer.Ask({static_cast<double>(operation)});
    return agent.Receive()[0];
  };
  // Once unmeasured: then the agent is there, and has stored its handlers.
  measure(kInstall);
  measure(kUninstall);
  Worker writer([&root] { return WriteRegistry(root.Path()); });

  Samples events[3];
  Samples writes;
  for (std::size_t round = 0; round < kRounds; ++round) {
    for (const Operation operation : {kInstall, kUpdate, kUninstall}) {
      events[operation].push_back(measure(operation));
    }
    writes.push_back(writer.Ask({})[0]);
  }
  report.BeginGroup("a package event, 1,000 handlers: agent's CPU time");
  const char* const names[] = {"install beside writing the registry",
                               "update beside writing the registry",
                               "uninstall beside writing the registry"};
  for (const Operation operation : {kInstall, kUpdate, kUninstall}) {
    report.Add(Ratio(names[operation], events[operation], writes, "us", AtMost(1.5)));
  }
}

}  // namespace bench
