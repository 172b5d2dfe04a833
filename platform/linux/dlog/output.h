// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_DLOG_OUTPUT_H_
#define PLATFORM_LINUX_DLOG_OUTPUT_H_

#include <cstddef>

namespace platform::dlog {

// Where lines go: the file that DLOG_FILE names, to which they are appended, else standard error.
// Returns a descriptor that stays open for the life of the process.
int OpenOutput();

// Writes the whole text with one write(). A reader that has gone away raises no SIGPIPE. Returns
// the number of bytes written, or -1.
int WriteOnce(int fd, const char* text, size_t size);

}  // namespace platform::dlog

#endif
