// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "disk.h"

#include <sqlite3.h>

#include <algorithm>
#include <cstring>
#include <new>
#include <stdexcept>

namespace simulation {

namespace {

constexpr int kMaxPath = 256;
constexpr int kSectorSize = 512;

std::vector<Disk*>& Disks() {
  static std::vector<Disk*> disks;
  return disks;
}

// What SQLite has of an open file. It allocates the memory and does not run destructors.
struct OpenFile : sqlite3_file {
  Disk* disk;
  File* file;
  // Of the write-ahead log's index, which processes share; there is only one.
  std::vector<std::unique_ptr<char[]>>* regions;
};

OpenFile& Of(sqlite3_file* file) { return *static_cast<OpenFile*>(file); }

int Close(sqlite3_file* file) {
  delete Of(file).regions;
  return SQLITE_OK;
}

int Read(sqlite3_file* opened, void* to, int size, sqlite3_int64 offset) {
  const auto& bytes = Of(opened).file->Bytes();
  const auto from = std::min(static_cast<std::size_t>(offset), bytes.size());
  const auto count = std::min(static_cast<std::size_t>(size), bytes.size() - from);
  std::copy_n(bytes.begin() + static_cast<std::ptrdiff_t>(from), count, static_cast<char*>(to));
  if (count == static_cast<std::size_t>(size)) return SQLITE_OK;
  std::memset(static_cast<char*>(to) + count, 0, static_cast<std::size_t>(size) - count);
  return SQLITE_IOERR_SHORT_READ;
}

int Write(sqlite3_file* opened, const void* from, int size, sqlite3_int64 offset) {
  Disk& disk = *Of(opened).disk;
  if (!disk.Operate()) return SQLITE_IOERR_WRITE;
  const auto end = static_cast<std::size_t>(offset) + static_cast<std::size_t>(size);
  if (disk.is_full && end > Of(opened).file->Bytes().size()) return SQLITE_FULL;
  Of(opened).file->Write(static_cast<std::size_t>(offset), static_cast<const char*>(from),
                         static_cast<std::size_t>(size));
  return SQLITE_OK;
}

int Truncate(sqlite3_file* opened, sqlite3_int64 size) {
  if (!Of(opened).disk->Operate()) return SQLITE_IOERR_TRUNCATE;
  Of(opened).file->Truncate(static_cast<std::size_t>(size));
  return SQLITE_OK;
}

int Sync(sqlite3_file* opened, int) {
  Disk& disk = *Of(opened).disk;
  if (!disk.Operate()) return SQLITE_IOERR_FSYNC;
  if (disk.failing_syncs > 0) {
    --disk.failing_syncs;
    return SQLITE_IOERR_FSYNC;
  }
  Of(opened).file->Sync();
  return SQLITE_OK;
}

int FileSize(sqlite3_file* opened, sqlite3_int64* size) {
  *size = static_cast<sqlite3_int64>(Of(opened).file->Bytes().size());
  return SQLITE_OK;
}

int Lock(sqlite3_file*, int) { return SQLITE_OK; }
int CheckReservedLock(sqlite3_file*, int* result) {
  *result = 0;
  return SQLITE_OK;
}
int FileControl(sqlite3_file*, int, void*) { return SQLITE_NOTFOUND; }
int SectorSize(sqlite3_file*) { return kSectorSize; }
// As SQLite assumes of all disks: a write that fails does not change bytes beside it.
int DeviceCharacteristics(sqlite3_file*) { return SQLITE_IOCAP_POWERSAFE_OVERWRITE; }

int MapRegion(sqlite3_file* opened, int index, int size, int extend, void volatile** region) {
  auto& regions = *Of(opened).regions;
  while (extend != 0 && regions.size() <= static_cast<std::size_t>(index)) {
    regions.push_back(std::make_unique<char[]>(static_cast<std::size_t>(size)));
  }
  const bool exists = static_cast<std::size_t>(index) < regions.size();
  *region = exists ? regions[static_cast<std::size_t>(index)].get() : nullptr;
  return SQLITE_OK;
}
int LockRegion(sqlite3_file*, int, int, int) { return SQLITE_OK; }
void Barrier(sqlite3_file*) {}
int UnmapRegions(sqlite3_file* opened, int) {
  Of(opened).regions->clear();
  return SQLITE_OK;
}

const sqlite3_io_methods kMethods = {2,
                                     Close,
                                     Read,
                                     Write,
                                     Truncate,
                                     Sync,
                                     FileSize,
                                     Lock,
                                     Lock,
                                     CheckReservedLock,
                                     FileControl,
                                     SectorSize,
                                     DeviceCharacteristics,
                                     MapRegion,
                                     LockRegion,
                                     Barrier,
                                     UnmapRegions,
                                     nullptr,
                                     nullptr};

int Open(sqlite3_vfs*, const char* path, sqlite3_file* opened, int flags, int* out_flags) {
  opened->pMethods = nullptr;
  Disk* const disk = path != nullptr ? Disk::Find(path) : nullptr;
  if (disk == nullptr) return SQLITE_CANTOPEN;
  auto& file = disk->files[path];
  if (file == nullptr) file = std::make_shared<File>();
  Of(opened).disk = disk;
  Of(opened).file = file.get();
  Of(opened).regions = new std::vector<std::unique_ptr<char[]>>;
  opened->pMethods = &kMethods;
  if (out_flags != nullptr) *out_flags = flags;
  return SQLITE_OK;
}

int Delete(sqlite3_vfs*, const char* path, int) {
  Disk* const disk = Disk::Find(path);
  if (disk == nullptr || !disk->Operate()) return SQLITE_IOERR_DELETE;
  disk->files.erase(path);
  return SQLITE_OK;
}

int Access(sqlite3_vfs*, const char* path, int, int* result) {
  Disk* const disk = Disk::Find(path);
  *result = disk != nullptr && disk->files.count(path) != 0 ? 1 : 0;
  return SQLITE_OK;
}

int FullPath(sqlite3_vfs*, const char* path, int size, char* full) {
  sqlite3_snprintf(size, full, "%s", path);
  return SQLITE_OK;
}

std::mt19937_64& SqliteRandom() {
  static std::mt19937_64 random;
  return random;
}

// SQLite tells new frames of its log from old ones by random salts.
int Randomness(sqlite3_vfs*, int size, char* to) {
  for (int i = 0; i < size; ++i) to[i] = static_cast<char>(SqliteRandom()());
  return size;
}
int Sleep(sqlite3_vfs*, int microseconds) { return microseconds; }
int CurrentTime(sqlite3_vfs*, double* time) {
  *time = 0;
  return SQLITE_OK;
}

}  // namespace

void File::Write(std::size_t offset, const char* data, std::size_t size) {
  changes_.push_back({false, offset, {data, data + size}});
  Apply(changes_.back(), bytes_);
}

void File::Truncate(std::size_t size) {
  changes_.push_back({true, size, {}});
  Apply(changes_.back(), bytes_);
}

void File::Sync() {
  synchronized_ = bytes_;
  changes_.clear();
}

void File::CutPower(std::mt19937_64& random) {
  bytes_ = synchronized_;
  for (Change& change : changes_) {
    if (random() % 2 == 0) continue;
    if (random() % 4 == 0) {
      change.data.resize(change.data.size() / kSectorSize / 2 * kSectorSize);
    }
    Apply(change, bytes_);
  }
  Sync();
}

void File::Apply(const Change& change, std::vector<char>& bytes) {
  if (change.is_truncation) {
    bytes.resize(change.offset);
    return;
  }
  bytes.resize(std::max(bytes.size(), change.offset + change.data.size()));
  std::copy(change.data.begin(), change.data.end(),
            bytes.begin() + static_cast<std::ptrdiff_t>(change.offset));
}

Disk::Disk(const std::string& name) : prefix_('/' + name + '/') { Disks().push_back(this); }

Disk::~Disk() { Disks().erase(std::find(Disks().begin(), Disks().end(), this)); }

void Disk::Revive(bool is_power_cut, std::mt19937_64& random) {
  kill_at_ = -1;
  if (!is_power_cut) return;
  for (auto& [path, file] : files) file->CutPower(random);
}

void Disk::KillAt(int operation) {
  const bool was_dead = IsDead();
  kill_at_ = operation;
  if (IsDead() && !was_dead && on_death) on_death();
}

bool Disk::Operate() {
  if (kill_at_ > 0) KillAt(kill_at_ - 1);
  return !IsDead();
}

Disk* Disk::Find(const std::string& path) {
  for (Disk* disk : Disks()) {
    if (path.rfind(disk->prefix_, 0) == 0) return disk;
  }
  return nullptr;
}

void RegisterDisks(std::uint64_t seed) {
  SqliteRandom().seed(seed);
  static sqlite3_vfs vfs = {};
  vfs.iVersion = 1;
  vfs.szOsFile = sizeof(OpenFile);
  vfs.mxPathname = kMaxPath;
  vfs.zName = "simulation";
  vfs.xOpen = Open;
  vfs.xDelete = Delete;
  vfs.xAccess = Access;
  vfs.xFullPathname = FullPath;
  vfs.xRandomness = Randomness;
  vfs.xSleep = Sleep;
  vfs.xCurrentTime = CurrentTime;
  sqlite3_vfs_register(&vfs, 1);
  // Forgets random numbers that SQLite has in stock, which depend on what ran before.
  sqlite3_randomness(0, nullptr);
}

}  // namespace simulation
