// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

__attribute__((visibility("default"))) int MissingFunction() { return 0; }
