// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_COMMON_PLATFORM_NAMES_H_
#define QOR_SRC_COMMON_PLATFORM_NAMES_H_

#include <string>

// The names that the library uses towards the platform.

// Prefix of all privileges and metadata keys.
#define QOR_PLATFORM_URI "http://tizen.org"

// Application id of a handler. The platform reports it as the sender of a connection.
using HandlerId = std::string;

namespace common {

// Tag of every log line except the stub's, which has its own.
inline constexpr char kLogTag[] = "QOR-HANDLER-MANAGER-API";

// Metadata key that declares an application as a command handler. The value is the path of the
// handler's configuration file, relative to the package's root.
inline constexpr char kCommandHandlerKey[] = QOR_PLATFORM_URI "/iot/metadata/qor/command-handler";
// Metadata key of a handler's priority, a decimal number.
inline constexpr char kPriorityKey[] = QOR_PLATFORM_URI "/iot/metadata/qor/priority";

// Privileges of a handler's package. The platform rejects connections of others.
inline constexpr const char* kHandlerPrivileges[] = {
    QOR_PLATFORM_URI "/privilege/datasharing", QOR_PLATFORM_URI "/privilege/appmanager.launch"};

}  // namespace common

#endif
