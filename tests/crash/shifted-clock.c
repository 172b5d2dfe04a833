// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// A preload library that shifts a process's wall clock by the number of seconds in the file
// $SHIFTED_CLOCK, which is read on every call.

#include <fcntl.h>
#include <stdlib.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <time.h>
#include <unistd.h>

static time_t Shift(void) {
  const char* path = getenv("SHIFTED_CLOCK");
  const int fd = path != NULL ? open(path, O_RDONLY | O_CLOEXEC) : -1;
  if (fd < 0) return 0;
  char text[32] = "";
  const ssize_t size = read(fd, text, sizeof text - 1);
  close(fd);
  return size > 0 ? (time_t)strtol(text, NULL, 10) : 0;
}

int clock_gettime(clockid_t clock, struct timespec* now) {
  const long result = syscall(SYS_clock_gettime, clock, now);
  if (result == 0 && (clock == CLOCK_REALTIME || clock == CLOCK_REALTIME_COARSE)) {
    now->tv_sec += Shift();
  }
  return (int)result;
}

int gettimeofday(struct timeval* restrict now, void* restrict zone) {
  (void)zone;
  struct timespec exact;
  if (clock_gettime(CLOCK_REALTIME, &exact) != 0) return -1;
  now->tv_sec = exact.tv_sec;
  now->tv_usec = exact.tv_nsec / 1000;
  return 0;
}

time_t time(time_t* now) {
  struct timespec exact;
  if (clock_gettime(CLOCK_REALTIME, &exact) != 0) return -1;
  if (now != NULL) *now = exact.tv_sec;
  return exact.tv_sec;
}
