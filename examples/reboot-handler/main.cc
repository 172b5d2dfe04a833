// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A handler that boots the device into another version of its system, for example after an update.
// The payload is {"version":TEXT}. The command succeeds only after a boot, when that version runs.
//
// res/reboot.conf in the package describes the device.

#include <app_common.h>
#include <dlog.h>
#include <qor/handler.h>
#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <cstdlib>
#include <memory>
#include <sstream>
#include <stdexcept>
#include <string>

#include "device.h"

namespace {

constexpr char kLogTag[] = "REBOOT-HANDLER";
// What a reboot takes at least.
constexpr double kSecondsToReboot = 30;

enum class Error {
  kInvalidPayload = 1,
  kNoTime = 2,
  kCannotReboot = 3,
  kRolledBack = 4,
  kUnexpectedSystem = 5,
};

// What the handler has to know after the boot.
struct Expectation {
  std::string boot_id;  // of the boot before
  std::string old_version;
  std::string version;

  std::string Text() const { return boot_id + '\n' + old_version + '\n' + version; }
  static Expectation Of(const std::string& text) {
    std::istringstream lines(text);
    Expectation expectation;
    std::getline(lines, expectation.boot_id);
    std::getline(lines, expectation.old_version);
    std::getline(lines, expectation.version);
    return expectation;
  }
};

// Returns an empty text for an invalid payload.
std::string VersionIn(const std::string& payload) {
  rapidjson::Document document;
  document.Parse<rapidjson::kParseIterativeFlag>(payload.c_str());
  if (document.HasParseError() || !document.IsObject()) return {};
  const auto version = document.FindMember("version");
  if (version == document.MemberEnd() || !version->value.IsString()) return {};
  const std::string text = version->value.GetString();
  return text.find('\n') == std::string::npos ? text : std::string();
}

void Succeed(const qor::Command& command, const std::string& version) {
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  writer.StartObject();
  writer.Key("version");
  writer.String(version.c_str());
  writer.EndObject();
  command.Succeed(text.GetString());
}

void Fail(const qor::Command& command, Error error, const std::string& description) {
  rapidjson::StringBuffer text;
  rapidjson::Writer<rapidjson::StringBuffer> writer(text);
  writer.StartObject();
  writer.Key("ErrorCode");
  writer.Int(static_cast<int>(error));
  writer.Key("ErrorDescription");
  writer.String(description.c_str());
  writer.EndObject();
  command.Fail(text.GetString());
}

example::Device LoadDevice() {
  const std::unique_ptr<char, decltype(&std::free)> folder(app_get_resource_path(), std::free);
  if (folder == nullptr) throw std::runtime_error("resource folder not available");
  return example::Device(std::string(folder.get()) + "reboot.conf");
}

// One reboot is requested per process, however often the command is delivered.
enum class Request { kNone, kAccepted, kFailed };
Request request = Request::kNone;

void AwaitBoot(const qor::Command& command, const example::Device& device,
               const std::string& state) {
  if (request == Request::kFailed) {
    request = Request::kNone;
    return Fail(command, Error::kCannotReboot, "the program that reboots failed");
  }
  // First: the reboot may end this process at any time.
  if (!command.Suspend(state)) {
    return Fail(command, Error::kCannotReboot, "cannot store what to expect of the boot");
  }
  if (request == Request::kAccepted) return;
  request = device.Reboot() ? Request::kAccepted : Request::kFailed;
  if (request == Request::kFailed) {
    // A suspended command has no answer: the next delivery reports it.
    dlog_print(DLOG_ERROR, kLogTag, "the program that reboots failed");
  }
}

void Reboot(const qor::Command& command) {
  const std::string version = VersionIn(command.Payload());
  if (version.empty()) {
    return Fail(command, Error::kInvalidPayload, "expected {\"version\":TEXT}");
  }
  const example::Device device = LoadDevice();
  if (!device.CanReboot()) {
    return Fail(command, Error::kCannotReboot, "no program that reboots is configured");
  }
  const Expectation expectation{device.BootId(), device.Version(), version};
  if (!command.AskForSeconds(kSecondsToReboot)) {
    return Fail(command, Error::kNoTime, "there is no time to reboot");
  }
  AwaitBoot(command, device, expectation.Text());
}

// After the boot, or before it when only the agent or this process was restarted.
void Resume(const qor::Command& command) {
  const example::Device device = LoadDevice();
  const auto expected = Expectation::Of(command.State());
  if (device.BootId() == expected.boot_id) {
    dlog_print(DLOG_WARN, kLogTag, "not rebooted yet");
    return AwaitBoot(command, device, command.State());
  }
  const std::string version = device.Version();
  if (version == expected.version) {
    Succeed(command, version);
  } else if (version == expected.old_version) {
    Fail(command, Error::kRolledBack,
         "rolled back to " + version + ", expected " + expected.version);
  } else {
    Fail(command, Error::kUnexpectedSystem, "booted " + version + ", expected " + expected.version);
  }
}

}  // namespace

int main(int argc, char** argv) {
  qor::Handler handler;
  handler.On("device.reboot", Reboot).OnResume("device.reboot", Resume);
  return handler.Run(argc, argv);
}
