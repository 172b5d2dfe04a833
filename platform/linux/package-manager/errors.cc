// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "platform/linux/package-manager/errors.h"

#include <dlog.h>
#include <package_manager.h>

#include <exception>
#include <new>
#include <system_error>

namespace platform {

int CurrentErrorCode() {
  try {
    throw;
  } catch (const InvalidPackageError&) {
    return PACKAGE_MANAGER_ERROR_INVALID_PARAMETER;
  } catch (const NoSuchPackageError&) {
    return PACKAGE_MANAGER_ERROR_NO_SUCH_PACKAGE;
  } catch (const std::system_error& error) {
    return error.code() == std::errc::permission_denied ||
                   error.code() == std::errc::operation_not_permitted
               ? PACKAGE_MANAGER_ERROR_PERMISSION_DENIED
               : PACKAGE_MANAGER_ERROR_IO_ERROR;
  } catch (const std::bad_alloc&) {
    return PACKAGE_MANAGER_ERROR_OUT_OF_MEMORY;
  } catch (...) {
    return PACKAGE_MANAGER_ERROR_SYSTEM_ERROR;
  }
}

void LogCurrentException() {
  try {
    throw;
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, kPackageLogTag, "%s", error.what());
  } catch (...) {
    dlog_print(DLOG_ERROR, kPackageLogTag, "unknown exception");
  }
}

}  // namespace platform
