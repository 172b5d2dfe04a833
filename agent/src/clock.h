// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_AGENT_SRC_CLOCK_H_
#define QOR_AGENT_SRC_CLOCK_H_

#include <string>

#include "records.h"

namespace qor::agent {

class Clock {
 public:
  virtual ~Clock() = default;

  virtual WallMs Wall() const = 0;
  // Counts while the device is suspended, too.
  virtual BootMs SinceBoot() const = 0;
  // Differs after each boot: times since another boot mean nothing.
  virtual std::string BootId() const = 0;
};

class SystemClock final : public Clock {
 public:
  WallMs Wall() const override;
  BootMs SinceBoot() const override;
  std::string BootId() const override;
};

}  // namespace qor::agent

#endif
