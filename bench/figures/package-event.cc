// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <rapidjson/document.h>
#include <rapidjson/istreamwrapper.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <stdexcept>

#include "base/run-until.h"
#include "figures/figures.h"
#include "plain-agent.h"
#include "support/cpu-time.h"
#include "support/package-operations.h"
#include "support/package-root.h"
#include "support/temporary-folder.h"
#include "support/worker.h"

namespace bench {

namespace {

constexpr std::size_t kRounds = 15;
constexpr std::size_t kHandlers = 1000;
constexpr int kCommandTimeoutMs = 20'000;
constexpr std::chrono::seconds kTimeoutSeconds{20};

// Callbacks that the agent has received for an operation.
struct Received {
  bool handler = false;
  bool end = false;
};

// Replies with the CPU time that the agent spends on one operation on a handler package.
Worker::Task Listen() {
  auto agent = std::make_shared<support::PlainAgent>(kCommandTimeoutMs, kCommandTimeoutMs);
  auto received = std::make_shared<Received>();
  agent->SetUpdateListener(
      [received](const support::PlainAgent::Update&) { received->handler = true; });
  WatchPackageOperations(&received->end);
  return [agent, received](const Numbers&) -> Numbers {
    *received = {};
    const double before = CpuTimeOf(getpid());
    if (!tools::RunUntil([&] { return received->handler && received->end; }, kTimeoutSeconds)) {
      throw std::runtime_error("no handler update before the timeout");
    }
    return {CpuTimeOf(getpid()) - before};
  };
}

enum Operation { kInstall, kUpdate, kUninstall };

Worker::Task Operate() {
  return [](const Numbers& numbers) -> Numbers {
    static_cast<Operation>(numbers[0]) == kUninstall ? UninstallPackage("org.example.echo")
                                                     : InstallPackage(EchoPackage());
    return {};
  };
}

// Replies with the CPU time of serializing and writing the agent's registry file.
Worker::Task WriteRegistry(const std::string& root) {
  std::ifstream file(root + "/data/host.qor-bench/.qor-handlers.db");
  rapidjson::IStreamWrapper stream(file);
  auto document = std::make_shared<rapidjson::Document>();
  document->ParseStream(stream);
  if (!document->IsObject()) throw std::runtime_error("the agent has no registry file");
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
    installer.Call({static_cast<double>(operation)});
    return agent.Receive()[0];
  };
  // Once unmeasured, so that the agent has started and has written its registry file.
  measure(kInstall);
  measure(kUninstall);
  Worker writer([&root] { return WriteRegistry(root.Path()); });

  Samples events[3];
  Samples writes;
  for (std::size_t round = 0; round < kRounds; ++round) {
    for (const Operation operation : {kInstall, kUpdate, kUninstall}) {
      events[operation].push_back(measure(operation));
    }
    writes.push_back(writer.Call({})[0]);
  }
  report.BeginGroup("package event with 1,000 handlers: agent CPU time");
  const char* const names[] = {"install vs. writing the registry",
                               "update vs. writing the registry",
                               "uninstall vs. writing the registry"};
  for (const Operation operation : {kInstall, kUpdate, kUninstall}) {
    report.Add(Ratio(names[operation], events[operation], writes, "us", AtMost(1.5)));
  }
}

}  // namespace bench
