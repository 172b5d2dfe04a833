// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Suppressions of the sanitizers for errors in Ecore.

extern "C" {

__attribute__((visibility("default"))) const char* __tsan_default_suppressions();
const char* __tsan_default_suppressions() {
  // Its signal handlers change errno.
  return "signal:libecore.so\n";
}

__attribute__((visibility("default"))) const char* __lsan_default_suppressions();
const char* __lsan_default_suppressions() {
  // ecore_shutdown() frees all classes of the object system but two.
  return "leak:efl_class_new\n";
}

}  // extern "C"
