// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_RECORDING_SERVICE_H_
#define TESTS_SUPPORT_RECORDING_SERVICE_H_

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ipc/stub.h"
#include "library-test.h"

namespace support {

using rpc_port::stub::stub::CommandHandler;

// The recorded calls of the services of one factory, in order, and their return value.
struct Script {
  std::vector<std::string> calls;
  bool answer = true;
  rpc_port::stub::Result last_result;
  std::unique_ptr<CommandHandler::OnCommandReceived> callback;
  std::function<void(const std::string&)> on_call;

  void Record(const std::string& call) {
    calls.push_back(call);
    if (on_call) on_call(call);
  }
};

class RecordingService : public CommandHandler::ServiceBase {
 public:
  RecordingService(std::string sender, std::string instance, Script* script)
      : ServiceBase(std::move(sender), std::move(instance)), script_(script) {}
  ~RecordingService() override { script_->calls.push_back("destroyed " + GetInstance()); }

  void OnCreate() override { script_->Record("create " + GetInstance()); }
  void OnTerminate() override { script_->Record("terminate " + GetInstance()); }
  void SetCommandReceivedCb(std::unique_ptr<CommandHandler::OnCommandReceived> cb) override {
    script_->callback = std::move(cb);
    script_->Record("fetch " + GetInstance());
  }
  bool SendResult(rpc_port::stub::Result result) override {
    script_->last_result = std::move(result);
    script_->Record("result " + GetInstance() + " " + script_->last_result.uuid);
    return script_->answer;
  }
  bool NegotiateTimeout(std::string uuid, double timeout) override {
    script_->Record("negotiate " + GetInstance() + " " + uuid + " " + std::to_string(timeout));
    return script_->answer;
  }

 private:
  Script* script_;
};

class RecordingFactory : public CommandHandler::ServiceBase::Factory {
 public:
  explicit RecordingFactory(Script* script) : script_(script) {}

  std::unique_ptr<CommandHandler::ServiceBase> CreateService(std::string sender,
                                                             std::string instance) override {
    script_->Record("service " + sender + " " + instance);
    auto service = std::make_unique<RecordingService>(sender, instance, script_);
    last_service = service.get();
    return service;
  }

  RecordingService* last_service = nullptr;

 private:
  Script* script_;
};

inline int CountStubErrors(const std::string& function, const std::string& message) {
  return CountLogged(DLOG_ERROR, StubLine(function, message), kStubTag);
}

// A listening stub with services that record their calls.
class StubTest : public PlatformTest {
 protected:
  void SetUp() override {
    PlatformTest::SetUp();
    stub_ = std::make_unique<CommandHandler>();
    stub_->Listen(factory_);
  }

  void TearDown() override {
    script_.callback.reset();
    stub_.reset();
    PlatformTest::TearDown();
  }

  Script script_;
  std::shared_ptr<RecordingFactory> factory_ = std::make_shared<RecordingFactory>(&script_);
  std::unique_ptr<CommandHandler> stub_;
};

}  // namespace support

#endif
