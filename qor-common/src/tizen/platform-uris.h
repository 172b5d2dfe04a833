// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef TIZEN_PLATFORM_URIS_H_
#define TIZEN_PLATFORM_URIS_H_

namespace tizen {

// What the platform puts in front of the paths of its privileges and of metadata keys.
inline constexpr char kPrivilegeUriPrefix[] = "http://tizen.org";
inline constexpr char kMetadataUriPrefix[] = "http://tizen.org";

// Metadata key by which an application declares itself a command handler; its value is the path of
// the handler's configuration file inside the package.
inline constexpr char kCommandHandlerPath[] = "/iot/metadata/qor/command-handler";

// What a handler's package must be allowed to, or its connection is rejected.
inline constexpr const char* kHandlerPrivilegePaths[] = {"/privilege/datasharing",
                                                         "/privilege/appmanager.launch"};

}  // namespace tizen

#endif
