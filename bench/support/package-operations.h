// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_OPERATION_END_H_
#define QOR_BENCH_SUPPORT_OPERATION_END_H_

namespace bench {

// From now on sets `*is_over` whenever an operation on a package has ended, until the process ends:
// installers wait for their listeners. `is_over` lives as long.
void WatchForTheEndOfOperations(bool* is_over);

}  // namespace bench

#endif
