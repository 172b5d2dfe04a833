// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_ROOT_FOLDER_H_
#define PLATFORM_LINUX_COMMON_ROOT_FOLDER_H_

#include <string>

namespace platform {

// The folder that holds everything of one platform: $QOR_PLATFORM_ROOT, else
// $XDG_DATA_HOME/qor-platform, else ~/.local/share/qor-platform. Absolute, without a trailing
// slash. Does not touch the file system: for readers, to whom a missing folder means "nothing yet".
std::string RootPath();

// The same folder for those who write: created with mode 0700 on first use. Throws
// std::system_error naming the folder when it cannot be made or written, and when it belongs to
// another user or others may write to it: they could put files of theirs in the place of ours.
std::string RootFolder();

// A folder below the root, created (with its parents, mode 0700) when missing. `relative` is like
// "run/ports". Returns its absolute path. Throws std::system_error naming the folder, also where
// one of them is a symbolic link.
std::string FolderBelowRoot(const std::string& relative);

}  // namespace platform

#endif
