// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "state.h"

#include <tizen.h>

#include <algorithm>
#include <atomic>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <utility>

namespace fake {
namespace internal {

std::uintptr_t NextHandle() {
  static std::atomic<std::uintptr_t> next{0x10000};
  return next.fetch_add(16);
}

State& GetState() {
  static State& state = *new State;
  return state;
}

int NextError(const std::string& function) {
  State& state = GetState();
  const std::lock_guard<std::mutex> lock(state.script_mutex);
  int error = 0;
  const auto permanent = state.permanent_failures.find(function);
  if (permanent != state.permanent_failures.end()) error = permanent->second;
  const auto injected = state.failures.find(function);
  if (injected == state.failures.end()) return error;
  for (auto& [calls_left, injected_error] : injected->second) {
    if (--calls_left == 0) error = injected_error;
  }
  return error;
}

FunctionCall::FunctionCall(const char* function, std::string_view detail) {
  State& state = GetState();
  {
    const std::lock_guard<std::mutex> lock(state.script_mutex);
    state.calls.push_back({function, std::string(detail)});
    ++state.call_counts[function];
  }
  error = NextError(function);
}

void AddUsageError(const std::string& text) {
  State& state = GetState();
  const std::lock_guard<std::mutex> lock(state.script_mutex);
  state.usage_errors.push_back(text);
}

int FailAndFillOutput(void* output, size_t size, int error) {
  if (output != nullptr) std::memset(output, 0xa5, size);
  return error;
}

int ReturnText(const std::string& text, char** out) {
  *out = strdup(text.c_str());
  return *out ? TIZEN_ERROR_NONE : TIZEN_ERROR_OUT_OF_MEMORY;
}

const Package* FindPackage(const std::string& package_id) {
  for (const Package& package : GetState().packages) {
    if (package.id == package_id) return &package;
  }
  return nullptr;
}

bool IsDead(const std::string& process) { return GetState().dead_processes.count(process) != 0; }

namespace {

template <typename Visitor>
void VisitTables(State* state, Visitor visit) {
  visit(state->stubs);
  visit(state->parcels);
  visit(state->app_controls);
  visit(state->package_managers);
  visit(state->package_infos);
  visit(state->app_infos);
  visit(state->metadata_filters);
  visit(state->bundles);
  visit(state->timers);
  visit(state->idle_enterers);
  visit(state->proxies);
}

void RemoveTemporaryFolder() {
  State& state = GetState();
  if (state.temporary_data_path.empty()) return;
  std::error_code ignored;
  std::filesystem::remove_all(state.temporary_data_path, ignored);
  state.temporary_data_path.clear();
}

std::string MakeTemporaryFolder() {
  // Death tests end with SIGABRT.
  static const bool removed_at_exit =
      std::atexit(RemoveTemporaryFolder) == 0 &&
      std::signal(SIGABRT, [](int) { RemoveTemporaryFolder(); }) != SIG_ERR;
  std::string path = (std::filesystem::temp_directory_path() / "fake-platform-XXXXXX").string();
  if (!removed_at_exit || !mkdtemp(path.data())) {
    throw std::runtime_error("no temporary folder: " + path);
  }
  return path + "/";
}

}  // namespace
}  // namespace internal

using internal::GetState;

namespace {

thread_local Side current_side = Side::kTest;

}  // namespace

Side CurrentSide() { return current_side; }

SideScope::SideScope(Side side) : outer_(std::exchange(current_side, side)) {}

SideScope::~SideScope() { current_side = outer_; }

ProcessScope::ProcessScope(const std::string& app_id)
    : outer_(std::exchange(GetState().process, app_id)) {}

ProcessScope::~ProcessScope() { GetState().process = outer_; }

void SetAlive(const std::string& app_id, bool is_alive) {
  if (is_alive) {
    GetState().dead_processes.erase(app_id);
  } else {
    GetState().dead_processes.insert(app_id);
  }
}

void Reset() {
  internal::State& state = GetState();
  internal::VisitTables(&state, [](auto& table) { table.Clear(); });
  state.ports.Clear();
  {
    const std::lock_guard<std::mutex> lock(state.script_mutex);
    state.failures.clear();
    state.permanent_failures.clear();
    state.calls.clear();
    state.call_counts.clear();
    state.usage_errors.clear();
  }
  ClearLog();
  internal::RemoveTemporaryFolder();
  state.main_thread = std::this_thread::get_id();
  state.now = 0;
  state.data_path.clear();
  state.launches.clear();
  state.packages.clear();
  state.sent.clear();
  state.sends_until_disconnection = 0;
  state.process.clear();
  state.dead_processes.clear();
  state.links.clear();
  state.next_link = 1;
  state.reply_waiter = nullptr;
  state.ecore_init_count = 1;
}

void Fail(const std::string& function, int error, int nth) {
  internal::State& state = GetState();
  const std::lock_guard<std::mutex> lock(state.script_mutex);
  state.failures[function].emplace_back(nth, error);
}

void FailAlways(const std::string& function, int error) {
  internal::State& state = GetState();
  const std::lock_guard<std::mutex> lock(state.script_mutex);
  state.permanent_failures[function] = error;
}

std::vector<Call> Calls() {
  internal::State& state = GetState();
  const std::lock_guard<std::mutex> lock(state.script_mutex);
  return state.calls;
}

int CallCount(const std::string& function) {
  internal::State& state = GetState();
  const std::lock_guard<std::mutex> lock(state.script_mutex);
  const auto found = state.call_counts.find(function);
  return found == state.call_counts.end() ? 0 : found->second;
}

std::vector<std::string> UsageErrors() {
  internal::State& state = GetState();
  const std::lock_guard<std::mutex> lock(state.script_mutex);
  return state.usage_errors;
}

std::string OpenHandles() {
  std::string text;
  internal::VisitTables(&GetState(), [&text](const auto& table) {
    const size_t size = table.Size();
    if (size == 0) return;
    if (!text.empty()) text += ", ";
    text += std::to_string(size) + " " + table.Kind() + (size == 1 ? "" : "s");
  });
  return text;
}

int OpenHandles(const std::string& kind) {
  bool known = false;
  size_t count = 0;
  internal::VisitTables(&GetState(), [&](const auto& table) {
    if (table.Kind() != kind) return;
    known = true;
    count = table.Size();
  });
  if (!known) throw std::logic_error("no kind of handle: " + kind);
  return static_cast<int>(count);
}

std::string DataPath() {
  internal::State& state = GetState();
  if (state.data_path.empty()) {
    state.temporary_data_path = internal::MakeTemporaryFolder();
    state.data_path = state.temporary_data_path;
  }
  return state.data_path;
}

void SetDataPath(const std::string& path) { GetState().data_path = path; }

std::vector<Launch> Launches() { return GetState().launches; }

}  // namespace fake
