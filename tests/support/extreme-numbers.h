// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_EXTREME_NUMBERS_H_
#define TESTS_SUPPORT_EXTREME_NUMBERS_H_

#include <limits>
#include <vector>

namespace support {

// Limits of the numbers that a peer can send.
inline const std::vector<int> kExtremeInts{
    std::numeric_limits<int>::min(),     std::numeric_limits<int>::min() + 1, -1, 0,
    std::numeric_limits<int>::max() - 1, std::numeric_limits<int>::max()};

inline const std::vector<double> kNaNs{std::numeric_limits<double>::quiet_NaN(),
                                       -std::numeric_limits<double>::quiet_NaN(),
                                       std::numeric_limits<double>::signaling_NaN()};

// Without NaN.
inline const std::vector<double> kExtremeDoubles{-std::numeric_limits<double>::infinity(),
                                                 std::numeric_limits<double>::lowest(),
                                                 -std::numeric_limits<double>::denorm_min(),
                                                 -0.0,
                                                 0.0,
                                                 std::numeric_limits<double>::denorm_min(),
                                                 std::numeric_limits<double>::min(),
                                                 std::numeric_limits<double>::max(),
                                                 std::numeric_limits<double>::infinity()};

}  // namespace support

#endif
