// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "handlers.h"

#include <cstdlib>
#include <cstring>

namespace chaos {

namespace {

constexpr char kPackagePrefix[] = "org.example.chaos";
constexpr char kApplicationSuffix[] = ".handler";
constexpr int kSharedTypes = 5;

constexpr int kMisbehavingInterval = 8;

std::string TwoDigits(int number) { return (number < 10 ? "0" : "") + std::to_string(number); }

}  // namespace

bool IsMisbehaving(int handler) {
  return handler % kMisbehavingInterval == kMisbehavingInterval - 1;
}

std::string PackageOf(int handler) { return kPackagePrefix + TwoDigits(handler); }

std::string ApplicationOf(int handler) { return PackageOf(handler) + kApplicationSuffix; }

std::optional<int> HandlerOf(const std::string& application) {
  for (int handler = 0; handler < kAllHandlers; ++handler)
    if (application == ApplicationOf(handler)) return handler;
  return std::nullopt;
}

const std::vector<std::string>& BehaviorsOf(int handler) {
  static const std::vector<std::string> well_behaved = {"echo", "thread", "timer", "extend",
                                                        "fail", "drop",   "throw", "block",
                                                        "late", "hold",   "kill"};
  static const std::vector<std::string> misbehaving = {"echo", "twice", "never", "wrong-uuid",
                                                       "unknown-method"};
  static const std::vector<std::string> durable = {"once", "once-kill", "once-suspend", "again",
                                                   "once-fail"};
  if (IsDurable(handler)) return durable;
  return IsMisbehaving(handler) ? misbehaving : well_behaved;
}

bool IsDurable(int handler) { return handler >= kHandlers; }

bool IsAtMostOnce(const std::string& type) { return type.find(".once") != std::string::npos; }

std::string TypeOf(int handler, const std::string& behavior) {
  return "c" + TwoDigits(handler) + "." + behavior;
}

std::string SharedTypeOf(int handler) { return "shared." + std::to_string(handler % kSharedTypes); }

int HandlerOfExecutable(const std::string& path) {
  return std::atoi(path.c_str() + path.find(kPackagePrefix) + std::strlen(kPackagePrefix));
}

}  // namespace chaos
