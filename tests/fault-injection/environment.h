// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_FAULT_INJECTION_ENVIRONMENT_H_
#define TESTS_FAULT_INJECTION_ENVIRONMENT_H_

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "fake-platform.h"
#include "qor_handler_manager.h"

namespace fault_injection {

// One call of a C function, or one thing that the platform did to the library.
struct Step {
  std::string name;
  // What a C function returned, or the stub's received callback; 0 for anything else.
  int result;

  bool operator==(const Step& other) const { return name == other.name && result == other.result; }
};

// All that the client and the handlers saw of the library, in order and countable.
struct Journal {
  std::vector<Step> steps;
  std::map<std::string, std::vector<int>> sent;  // return codes by uuid
  std::map<std::string, int> answered;           // answers that handlers gave, by uuid
  std::map<std::string, int> results;            // responses of handlers, by uuid
  std::map<std::string, int> timeouts;           // responses of the library's own, by uuid
  std::vector<std::string> updates;
  int negotiations = 0;

  bool operator==(const Journal& other) const;
};

// A client, handlers and a platform around the library. Everything goes on when things fail, as far
// as a real peer could: a handler connects only where somebody listens and answers only what it was
// sent.
class Environment {
 public:
  // A fresh platform with the handlers "h", of the types "type" and "other type", and "i".
  Environment();

  // Everything before this is preparation, and not what the scenario is about.
  void BeginHere();

  void Start();
  void ShutDown();
  int Send(const std::string& uuid, const std::string& request_type = "type");
  // Starts the library by a command.
  int SendFirst(const std::string& uuid);
  // Clones every record and destroys the clones after the enumeration.
  void Enumerate();
  void Configure();

  void Connect(const std::string& instance, const std::string& app_id = "h");
  void Disconnect(const std::string& instance);
  void Fetch(const std::string& instance);
  void Answer(const std::string& instance, const std::string& uuid);
  void Negotiate(const std::string& instance, const std::string& uuid, double seconds);
  void Advance(double seconds);
  void Install(const std::string& package_id);
  void Update(const std::string& package_id);
  void Uninstall(const std::string& package_id);

  const Journal& GetJournal() const { return journal_; }

  std::function<void()> on_begin;
  // After each step; a step within another one comes first.
  std::function<void(const Step&)> on_step;

 private:
  // Runs a step of the code under test; what escapes from it is a failure.
  int Do(const std::string& name, const std::function<int()>& step);
  int SendIn(const std::string& step, const std::string& uuid, const std::string& request_type);
  int Call(const std::string& name, const std::function<int()>& function);
  bool WasDelivered(const std::string& instance, const std::string& uuid) const;

  Journal journal_;
  std::vector<qor_handler_manager_handler_info_h> clones_;
};

struct Scenario {
  const char* name;
  void (*play)(Environment&);
  // A command that was accepted is answered, whatever fails.
  bool answers_what_it_accepts = false;
};

extern const std::vector<Scenario> kScenarios;

// Plays a scenario, shuts the library down and checks what must hold whatever failed.
Journal Play(const Scenario& scenario, const std::function<void()>& on_begin = nullptr,
             const std::function<void(const Step&)>& on_step = nullptr);

}  // namespace fault_injection

#endif
