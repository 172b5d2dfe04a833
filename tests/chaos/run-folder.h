// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_CHAOS_RUN_FOLDER_H_
#define TESTS_CHAOS_RUN_FOLDER_H_

#include <string>

namespace chaos {

// The programs of this build.
struct Programs {
  std::string agent;
  std::string handler;
  std::string misbehaving_handler;
  std::string tool;
  std::string recorder;
};

// A folder with everything of one run, made new and removed with this object unless it is kept.
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
  // What the programs print and log.
  std::string Log() const { return folder_ + "/log"; }
  // What the files begin with in which sanitizers and crashes leave their findings.
  std::string ReportPrefix() const { return folder_ + "/finding"; }
  std::string Package(int handler, int version) const;

  // The packages of all handlers in all versions, to be installed.
  void WritePackages(const Programs& programs) const;

 private:
  std::string folder_;
  bool is_kept_ = false;
};

}  // namespace chaos

#endif
