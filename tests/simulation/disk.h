// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SIMULATION_DISK_H_
#define TESTS_SIMULATION_DISK_H_

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <random>
#include <string>
#include <vector>

namespace simulation {

// A file in memory, with what would survive a power failure.
class File {
 public:
  const std::vector<char>& Bytes() const { return bytes_; }

  void Write(std::size_t offset, const char* data, std::size_t size);
  void Truncate(std::size_t size);
  void Sync();
  // Loses some of the changes since the last Sync(): each is either on the disk or not, and the
  // last may be torn.
  void CutPower(std::mt19937_64& random);

 private:
  struct Change {
    bool is_truncation;
    std::size_t offset;
    std::vector<char> data;
  };
  static void Apply(const Change& change, std::vector<char>& bytes);

  std::vector<char> bytes_;
  std::vector<char> synchronized_;
  std::vector<Change> changes_;
};

// The disk of one process. SQLite uses it for all files whose path begins with "/NAME/".
class Disk {
 public:
  explicit Disk(const std::string& name);
  Disk(const Disk&) = delete;
  Disk& operator=(const Disk&) = delete;
  ~Disk();

  // From the nth write, truncation or synchronization on, the process is dead: nothing it does has
  // an effect. 0: at once; -1: never.
  void KillAt(int operation);
  bool IsDead() const { return kill_at_ == 0; }
  // Another process with the same files. After a power cut only what was synchronized is certain.
  void Revive(bool is_power_cut, std::mt19937_64& random);

  bool is_full = false;
  // So many of the next synchronizations fail.
  int failing_syncs = 0;
  // Called when the process dies.
  std::function<void()> on_death;

  // For SQLite. Returns false when the process is dead.
  bool Operate();
  std::map<std::string, std::shared_ptr<File>> files;

  static Disk* Find(const std::string& path);

 private:
  const std::string prefix_;
  int kill_at_ = -1;
};

// Makes SQLite use the disks, and random numbers from this seed.
void RegisterDisks(std::uint64_t seed);

}  // namespace simulation

#endif
