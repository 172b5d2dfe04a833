// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_ECORE_REFERENCE_H_
#define PLATFORM_LINUX_COMMON_ECORE_REFERENCE_H_

namespace platform {

// Keeps Ecore up as long as something watches descriptors with it, even when the program shuts its
// own Ecore down before. A program that has not started Ecore gets it for the life of the process.
class EcoreReference {
 public:
  EcoreReference();
  EcoreReference(const EcoreReference&) = delete;
  EcoreReference& operator=(const EcoreReference&) = delete;
  ~EcoreReference();
};

}  // namespace platform

#endif
