// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <qor/handler.h>

#include <utility>

#include "command-state.h"

namespace qor {

Command::Command(std::shared_ptr<internal::CommandState> state) : state_(std::move(state)) {}
Command::Command(const Command&) = default;
Command::Command(Command&&) noexcept = default;
Command& Command::operator=(const Command&) = default;
Command& Command::operator=(Command&&) noexcept = default;
Command::~Command() = default;

const std::string& Command::Uuid() const { return state_->command().uuid; }
const std::string& Command::Type() const { return state_->command().type; }
const std::string& Command::Payload() const { return state_->command().payload; }
std::int64_t Command::Time() const { return state_->command().time; }
const std::string& Command::Agent() const { return state_->command().agent; }

bool Command::Succeed(const std::string& result_json) const {
  return state_->Complete({true, result_json});
}

bool Command::Fail(const std::string& error_json) const {
  return state_->Complete({false, error_json});
}

bool Command::Suspend(const std::string& state) const { return state_->Suspend(state); }
const std::string& Command::State() const { return state_->saved_state(); }

bool Command::AskForSeconds(double seconds) const { return state_->RequestExtension(seconds); }

}  // namespace qor
