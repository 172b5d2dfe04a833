// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Cannot be loaded, see CMakeLists.txt.
int MissingFunction();

int main() { return MissingFunction(); }
