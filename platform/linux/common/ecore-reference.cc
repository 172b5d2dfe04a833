// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/common/ecore-reference.h"

#include <Ecore.h>

namespace platform {
namespace {

// Without this Ecore, whoever starts it, asks a system bus that many machines do not have, and
// prints pages of errors.
__attribute__((constructor)) void SwitchOffSystemModules() { ecore_app_no_system_modules(); }

}  // namespace

EcoreReference::EcoreReference() {
  if (ecore_init() == 1) ecore_init();
}

EcoreReference::~EcoreReference() { ecore_shutdown(); }

}  // namespace platform
