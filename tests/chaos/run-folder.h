// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_RUN_FOLDER_H_
#define TESTS_CHAOS_RUN_FOLDER_H_

#include <string>

namespace chaos {

// The programs of this build.
struct Programs {
  std::string agent;
  std::string durable_agent;
  std::string handler;
  std::string misbehaving_handler;
  std::string tool;
  std::string recorder;
};

// The temporary folder of a run. Removed by the destructor unless Keep() has been called.
class RunFolder {
 public:
  // Throws std::runtime_error.
  RunFolder();
  RunFolder(const RunFolder&) = delete;
  RunFolder& operator=(const RunFolder&) = delete;
  ~RunFolder();

  void Keep() { is_kept_ = true; }

  const std::string& Folder() const { return folder_; }
  // The platform's root.
  std::string Root() const { return folder_ + "/root"; }
  std::string History() const { return folder_ + "/history"; }
  // What is known of durable commands.
  std::string Account() const { return folder_ + "/account"; }
  // On the agents' disk, and permanent as their other data.
  std::string Journal() const { return Root() + "/data/host.chaos-journal.db"; }
  // Output and log lines of all programs.
  std::string Log() const { return folder_ + "/log"; }
  // Path prefix of the reports of sanitizers and crash handlers.
  std::string ReportPrefix() const { return folder_ + "/finding"; }
  std::string PackageFolder(int handler, int version) const;

  // Writes the packages of all handlers in all versions.
  void WritePackages(const Programs& programs) const;

 private:
  std::string folder_;
  bool is_kept_ = false;
};

}  // namespace chaos

#endif
