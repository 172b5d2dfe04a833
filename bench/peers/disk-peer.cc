// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "peers/disk-peer.h"

#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <system_error>

#include "peers/meter.h"

namespace bench {

namespace {

// As long as SQLite's log before it is written from the beginning again.
constexpr std::size_t kFileBytes = std::size_t{4} << 20;

void Require(bool condition, const char* what) {
  if (!condition) throw std::system_error(errno, std::generic_category(), what);
}

}  // namespace

DiskPeer::DiskPeer(const std::string& folder)
    : file_(open((folder + "/disk-peer").c_str(), O_CREAT | O_RDWR | O_CLOEXEC, 0600)) {
  Require(file_ >= 0, "cannot create a file");
  const std::string zeros(kFileBytes, '\0');
  Require(pwrite(file_, zeros.data(), zeros.size(), 0) == static_cast<ssize_t>(zeros.size()) &&
              fsync(file_) == 0,
          "cannot write");
}

DiskPeer::~DiskPeer() { close(file_); }

Cost DiskPeer::Measure(const Workload& workload) {
  const std::string bytes(workload.payload_bytes, 'x');
  Meter meter(workload);
  std::size_t at = 0;
  for (std::size_t i = 0; i < workload.count; ++i) {
    Require(pwrite(file_, bytes.data(), bytes.size(), static_cast<off_t>(at)) ==
                    static_cast<ssize_t>(bytes.size()) &&
                fdatasync(file_) == 0,
            "cannot write");
    at = (at + bytes.size()) % (kFileBytes - bytes.size());
    meter.Lap();
  }
  return meter.Finish();
}

}  // namespace bench
