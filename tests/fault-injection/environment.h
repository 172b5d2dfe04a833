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

// One call of a C function, or one event that the platform delivered to the library.
struct Step {
  std::string name;
  // The return value of a C function or of the stub's received callback; 0 for other events.
  int result;

  bool operator==(const Step& other) const { return name == other.name && result == other.result; }
};

// Everything that the client and the handlers observed.
struct Journal {
  std::vector<Step> steps;
  std::map<std::string, std::vector<int>> sent;  // return codes by uuid
  std::map<std::string, int> answered;           // answers that handlers gave, by uuid
  std::map<std::string, int> results;            // responses of handlers, by uuid
  std::map<std::string, int> timeouts;           // timeout responses of the library, by uuid
  std::vector<std::string> updates;
  int negotiations = 0;

  bool operator==(const Journal& other) const;
};

// A client, handlers and a platform around the library. Continues after failures as real peers
// would: a handler connects only while the agent listens and answers only delivered commands.
class Environment {
 public:
  // Resets the platform and installs the handlers "h", for the types "type" and "other type", and
  // "i".
  Environment();

  // Failures are injected from here on; everything before is set-up.
  void StartInjection();

  void Start();
  void ShutDown();
  int Send(const std::string& uuid, const std::string& request_type = "type");
  // Sends a command while the library is not initialized, which starts it.
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

  std::function<void()> on_start;
  // Called after each step; a nested step is reported before the enclosing one.
  std::function<void(const Step&)> on_step;

 private:
  // Runs and records a step. An escaping exception is a test failure.
  int RunStep(const std::string& name, const std::function<int()>& step);
  int SendIn(const std::string& step, const std::string& uuid, const std::string& request_type);
  int CallLibrary(const std::string& name, const std::function<int()>& function);
  bool WasDelivered(const std::string& instance, const std::string& uuid) const;

  Journal journal_;
  std::vector<qor_handler_manager_handler_info_h> clones_;
};

struct Scenario {
  const char* name;
  void (*play)(Environment&);
  // Whether every accepted command gets a response, whatever fails.
  bool answers_accepted_commands = false;
};

extern const std::vector<Scenario> kScenarios;

// Plays a scenario, shuts the library down and checks the invariants that hold after any failure.
Journal Play(const Scenario& scenario, const std::function<void()>& on_start = nullptr,
             const std::function<void(const Step&)>& on_step = nullptr);

}  // namespace fault_injection

#endif
