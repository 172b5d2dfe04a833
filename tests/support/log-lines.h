// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TESTS_SUPPORT_LOG_LINES_H_
#define TESTS_SUPPORT_LOG_LINES_H_

// The library's log lines and their formats.

#include <dlog.h>

#include <string>
#include <vector>

namespace support {

inline constexpr char kLibraryTag[] = "QOR-HANDLER-MANAGER-API";
inline constexpr char kStubTag[] = "RPC_PORT_STUB";

// Matches any line number in the texts below.
inline constexpr int kAnyLine = -1;

std::string EnterLine(const std::string& file, const std::string& function, int line);
std::string ExitLine(const std::string& file, const std::string& function);
std::string InfoLine(const std::string& file, const std::string& function, int line,
                     const std::string& message);
std::string ErrorLine(const std::string& file, const std::string& function, int line,
                      const std::string& message);
// Debug and warning lines have no colour.
std::string PlainLine(const std::string& file, const std::string& function, int line,
                      const std::string& message);
// Lines of the stub, under its own tag.
std::string StubLine(const std::string& function, const std::string& message);

// Returns the texts logged at a priority under a tag, in order.
std::vector<std::string> LoggedTexts(log_priority priority, const std::string& tag = kLibraryTag);

// Returns how often a line was logged. The text may contain kAnyLine.
int CountLogged(log_priority priority, const std::string& text,
                const std::string& tag = kLibraryTag);

}  // namespace support

#endif
