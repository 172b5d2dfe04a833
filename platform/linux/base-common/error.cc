// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <app_control.h>
#include <app_manager.h>
#include <app_types.h>
#include <bundle.h>
#include <package_manager.h>
#include <tizen.h>

#include <cstdio>

namespace {

struct Entry {
  int value;
  const char* text;
};

// Linear search is fast enough, because errors are rare.
constexpr Entry kTexts[] = {
    {TIZEN_ERROR_NONE, "Successful"},
    {TIZEN_ERROR_NOT_PERMITTED, "Operation not permitted"},
    {TIZEN_ERROR_NO_SUCH_FILE, "No such file or directory"},
    {TIZEN_ERROR_NO_SUCH_PROCESS, "No such process"},
    {TIZEN_ERROR_INTERRUPTED_SYS_CALL, "Interrupted system call"},
    {TIZEN_ERROR_IO_ERROR, "I/O error"},
    {TIZEN_ERROR_NO_SUCH_DEVICE, "No such device or address"},
    {TIZEN_ERROR_ARGUMENT_LIST_TOO_LONG, "Argument list too long"},
    {TIZEN_ERROR_EXEC_FORMAT_ERROR, "Exec format error"},
    {TIZEN_ERROR_BAD_FILE_NUMBER, "Bad file number"},
    {TIZEN_ERROR_TRY_AGAIN, "Try again"},
    {TIZEN_ERROR_OUT_OF_MEMORY, "Out of memory"},
    {TIZEN_ERROR_PERMISSION_DENIED, "Permission denied"},
    {TIZEN_ERROR_BAD_ADDRESS, "Bad address"},
    {TIZEN_ERROR_BLOCK_DEVICE_REQUIRED, "Block device required"},
    {TIZEN_ERROR_RESOURCE_BUSY, "Device or resource busy"},
    {TIZEN_ERROR_FILE_EXISTS, "File exists"},
    {TIZEN_ERROR_CROSS_DEVICE_LINK, "Cross-device link"},
    {TIZEN_ERROR_NOT_A_DIRECTORY, "Not a directory"},
    {TIZEN_ERROR_IS_A_DIRECTORY, "Is a directory"},
    {TIZEN_ERROR_INVALID_PARAMETER, "Invalid parameter"},
    {TIZEN_ERROR_FILE_TABLE_OVERFLOW, "File table overflow"},
    {TIZEN_ERROR_TOO_MANY_OPEN_FILES, "Too many open files"},
    {TIZEN_ERROR_TOO_NOT_A_TERMINAL, "Not a terminal"},
    {TIZEN_ERROR_TOO_TEXT_FILE_BUSY, "Text file busy"},
    {TIZEN_ERROR_FILE_TOO_LARGE, "File too large"},
    {TIZEN_ERROR_FILE_NO_SPACE_ON_DEVICE, "No space left on device"},
    {TIZEN_ERROR_ILLEGAL_SEEK, "Illegal seek"},
    {TIZEN_ERROR_READ_ONLY_FILESYSTEM, "Read-only file system"},
    {TIZEN_ERROR_TOO_MANY_LINKS, "Too many links"},
    {TIZEN_ERROR_BROKEN_PIPE, "Broken pipe"},
    {TIZEN_ERROR_ARGUMENT_OUT_OF_DOMAIN, "Argument out of domain"},
    {TIZEN_ERROR_RESULT_OUT_OF_RANGE, "Result out of range"},
    {TIZEN_ERROR_WOULD_CAUSE_DEADLOCK, "Resource deadlock would occur"},
    {TIZEN_ERROR_FILE_NAME_TOO_LONG, "File name too long"},
    {TIZEN_ERROR_FILE_NO_LOCKS_AVAILABLE, "No locks available"},
    {TIZEN_ERROR_INVALID_OPERATION, "Invalid operation"},
    {TIZEN_ERROR_DIR_NOT_EMPTY, "Directory not empty"},
    {TIZEN_ERROR_TOO_MANY_SYMBOLIC_LINKS, "Too many symbolic links"},
    {TIZEN_ERROR_NO_DATA, "No data available"},
    {TIZEN_ERROR_CORRUPTED_SHARED_LIB, "Corrupted shared library"},
    {TIZEN_ERROR_LIB_SECTION_CORRUPTED, "Library section corrupted"},
    {TIZEN_ERROR_LINK_TOO_MANY_SHARED_LIB, "Too many shared libraries linked"},
    {TIZEN_ERROR_SHARED_LIB_EXEC, "Shared library cannot be executed"},
    {TIZEN_ERROR_ILLEGAL_BYTE_SEQ, "Illegal byte sequence"},
    {TIZEN_ERROR_SYSTEM_CALL_RESTART, "System call should be restarted"},
    {TIZEN_ERROR_STREAMS_PIPE, "Streams pipe error"},
    {TIZEN_ERROR_TOO_MANY_USERS, "Too many users"},
    {TIZEN_ERROR_NON_SOCKET, "Not a socket"},
    {TIZEN_ERROR_NO_DEST_ADDRESS, "Destination address required"},
    {TIZEN_ERROR_MSG_TOO_LONG, "Message too long"},
    {TIZEN_ERROR_PROTOCOL_WRONG_TYPE, "Wrong protocol type for socket"},
    {TIZEN_ERROR_PROTOCOL_NOT_AVALIABLE, "Protocol not available"},
    {TIZEN_ERROR_PROTOCOL_NOT_SUPPORTED, "Protocol not supported"},
    {TIZEN_ERROR_SOCKET_TYPE_NOT_SUPPORTED, "Socket type not supported"},
    {TIZEN_ERROR_ENDPOINT_OPERATIN_NOT_SUPPORTED, "Operation not supported on endpoint"},
    {TIZEN_ERROR_PROTOCOL_FAMILY_NOT_SUPPORTED, "Protocol family not supported"},
    {TIZEN_ERROR_ADDRESS_FAMILY_NOT_SUPPORTED, "Address family not supported"},
    {TIZEN_ERROR_ADDRES_IN_USE, "Address in use"},
    {TIZEN_ERROR_CANNOT_ASSIGN_ADDRESS, "Cannot assign address"},
    {TIZEN_ERROR_NETWORK_DOWN, "Network is down"},
    {TIZEN_ERROR_NETWORK_UNREACHABLE, "Network is unreachable"},
    {TIZEN_ERROR_NETWORK_RESET, "Network connection reset"},
    {TIZEN_ERROR_CONNECTION_ABORTED, "Connection aborted"},
    {TIZEN_ERROR_CONNECTION_RESET_BY_PEER, "Connection reset by peer"},
    {TIZEN_ERROR_BUFFER_SPACE, "No buffer space available"},
    {TIZEN_ERROR_ENDPOINT_CONNECTED, "Endpoint is connected"},
    {TIZEN_ERROR_ENDPOINT_NOT_CONNECTED, "Endpoint is not connected"},
    {TIZEN_ERROR_ENDPOINT_SHUTDOWN, "Endpoint is shut down"},
    {TIZEN_ERROR_TOO_MANY_REFERENCES, "Too many references"},
    {TIZEN_ERROR_CONNECTION_TIME_OUT, "Connection timed out"},
    {TIZEN_ERROR_CONNECTION_REFUSED, "Connection refused"},
    {TIZEN_ERROR_HOST_DOWN, "Host is down"},
    {TIZEN_ERROR_NO_ROUTE_TO_HOST, "No route to host"},
    {TIZEN_ERROR_ALREADY_IN_PROGRESS, "Operation already in progress"},
    {TIZEN_ERROR_NOW_IN_PROGRESS, "Operation now in progress"},
    {TIZEN_ERROR_STALE_NFS_FILE_HANDLE, "Stale file handle"},
    {TIZEN_ERROR_STRUCTURE_UNCLEAN, "Structure needs cleaning"},
    {TIZEN_ERROR_NOT_XENIX_NAMED_TYPE_FILE, "Not a named type file"},
    {TIZEN_ERROR_NO_XENIX_SEMAPHORES_AVAILABLE, "No semaphores available"},
    {TIZEN_ERROR_IS_NAMED_TYPE_FILE, "Is a named type file"},
    {TIZEN_ERROR_REMOTE_IO, "Remote I/O error"},
    {TIZEN_ERROR_QUOTA_EXCEEDED, "Quota exceeded"},
    {TIZEN_ERROR_NO_MEDIUM, "No medium found"},
    {TIZEN_ERROR_WRONG_MEDIUM_TYPE, "Wrong medium type"},
    {TIZEN_ERROR_CANCELED, "Operation canceled"},
    {TIZEN_ERROR_KEY_NOT_AVAILABLE, "Required key not available"},
    {TIZEN_ERROR_KEY_EXPIRED, "Key has expired"},
    {TIZEN_ERROR_KEY_REVOKED, "Key has been revoked"},
    {TIZEN_ERROR_KEY_REJECTED, "Key was rejected"},
    {TIZEN_ERROR_OWNER_DEAD, "Owner died"},
    {TIZEN_ERROR_UNKNOWN, "Unknown error"},
    {TIZEN_ERROR_TIMED_OUT, "Timed out"},
    {TIZEN_ERROR_NOT_SUPPORTED, "Not supported"},
    {TIZEN_ERROR_USER_NOT_CONSENTED, "User did not consent"},
    {TIZEN_ERROR_DEVICE_POLICY_RESTRICTION, "Restricted by device policy"},
    {TIZEN_ERROR_END_OF_COLLECTION, "End of collection"},
    // Errors of single modules.
    {APP_ERROR_INVALID_CONTEXT, "Invalid application context"},
    {APP_CONTROL_ERROR_APP_NOT_FOUND, "Application not found"},
    {APP_CONTROL_ERROR_INVALID_DATA_TYPE, "Invalid data type"},
    {APP_CONTROL_ERROR_LAUNCH_REJECTED, "Launch request rejected"},
    {APP_CONTROL_ERROR_LAUNCH_FAILED, "Launch failed"},
    {APP_MANAGER_ERROR_NO_SUCH_APP, "No such application"},
    {APP_MANAGER_ERROR_DB_FAILED, "Application database failed"},
    {APP_MANAGER_ERROR_INVALID_PACKAGE, "Invalid package"},
    {APP_MANAGER_ERROR_APP_NO_RUNNING, "Application is not running"},
    {APP_MANAGER_ERROR_REQUEST_FAILED, "Request failed"},
    {PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE, "No such package"},
    {PACKAGE_MANAGER_ERROR_SYSTEM_ERROR, "Package manager system error"},
    {BUNDLE_ERROR_KEY_EXISTS, "Key exists"},
};

thread_local int last_result = TIZEN_ERROR_NONE;

}  // namespace

EXPORT_API char* get_error_message(int err) {
  for (const Entry& entry : kTexts) {
    // The interface forbids callers to modify the text, in spite of its type.
    if (entry.value == err) return const_cast<char*>(entry.text);
  }
  thread_local char unknown[32];
  std::snprintf(unknown, sizeof(unknown), "Unknown error %d", err);
  return unknown;
}

EXPORT_API int get_last_result(void) { return last_result; }

EXPORT_API void set_last_result(int err) { last_result = err; }
