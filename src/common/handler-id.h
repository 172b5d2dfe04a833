// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_COMMON_HANDLER_ID_H_
#define QOR_SRC_COMMON_HANDLER_ID_H_

#include <string>

// Names a handler: an application id, which is also who the platform says has connected.
using HandlerId = std::string;

#endif
