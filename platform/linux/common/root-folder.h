// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_COMMON_ROOT_FOLDER_H_
#define PLATFORM_LINUX_COMMON_ROOT_FOLDER_H_

#include <string>

namespace platform {

// Layout of the root folder: paths relative to it.

// What is installed, see package-database.h.
inline constexpr char kPackageDatabase[] = "packages.db";
// Locked by the one process that installs, updates or uninstalls packages.
inline constexpr char kInstallLock[] = "install.lock";
// New files until they are renamed to their final paths. The next operation removes what an
// interrupted one left here.
inline constexpr char kStagingFolder[] = "staging";
// `<package id>/<generation>/` with the files of a package.
inline constexpr char kPackagesFolder[] = "packages";
// `<app id>/` with the data of an application.
inline constexpr char kDataFolder[] = "data";
// Output and last end of each launched application, see application-log.h.
inline constexpr char kLogFolder[] = "logs";
// `<app id>/<port name>`, the listening socket of a port, and its lock beside it (PortLockName()).
inline constexpr char kPortsFolder[] = "run/ports";
// `<app id>`, the socket on which an application receives launch requests.
inline constexpr char kApplicationSocketFolder[] = "run/apps";
// `<app id>`, locked by the process that launches the application.
inline constexpr char kApplicationLockFolder[] = "run/app-locks";
// `<process id>`, the socket on which a process receives package events.
inline constexpr char kEventSocketFolder[] = "run/events";
// `<name>`, locked by a tool that runs under the host name.
inline constexpr char kHostNameLockFolder[] = "run/host-names";

// The file beside a port's socket, locked by the owner of the port. No port name begins with a dot.
inline std::string PortLockName(const std::string& port_name) { return "." + port_name + ".lock"; }

// The folder that holds everything of one platform: $QOR_PLATFORM_ROOT, else
// $XDG_DATA_HOME/qor-platform, else ~/.local/share/qor-platform. Absolute, without a trailing
// slash. Does not access the file system: readers treat a missing folder as an empty platform.
std::string RootPath();

// The root folder for writers: created with mode 0700 when missing. Throws
// std::system_error naming the folder when it cannot be created or written, when it belongs to
// another user or others may write to it, and when others may replace it: one of its parents is
// writable by others and not sticky.
std::string RootFolder();

// Returns the parent in which another user could rename a part of the root's path and put a folder
// in its place; empty when there is none. Owners of parents are trusted: in a user namespace,
// root's folders may belong to a user that it does not know.
std::string ReplaceableIn(const std::string& root);

// Returns how to keep others out of a folder: a chmod command with the mode, or, if the folder
// belongs to another user or is sticky and thus shared on purpose, another root folder.
std::string ProtectionHint(const std::string& folder, const std::string& mode);

// Creates a folder below the root, with its parents (mode 0700), unless it exists. `relative` is a
// path such as kPortsFolder. Returns the absolute path. Throws std::system_error naming the folder,
// also where one of them is a symbolic link.
std::string FolderBelowRoot(const std::string& relative);

}  // namespace platform

#endif
