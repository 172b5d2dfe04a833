// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Prints the time of day in seconds since the epoch. The machine's own date may be of another
// architecture than what is loaded into it.
#include <stdio.h>
#include <time.h>

int main(void) { return printf("%lld\n", (long long)time(NULL)) < 0; }
