// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_DLOG_OUTPUT_H_
#define PLATFORM_LINUX_DLOG_OUTPUT_H_

#include <cstddef>

namespace platform::dlog {

// Opens the output: the file that DLOG_FILE names, to which lines are appended, else standard
// error. Returns a descriptor that stays open for the life of the process.
int OpenOutput();

// Writes the text with one write(), so that lines of several processes are not mixed. Raises no
// SIGPIPE when the reader of a pipe has exited. Returns the number of bytes written, or -1.
int WriteOnce(int fd, const char* text, size_t size);

}  // namespace platform::dlog

#endif
