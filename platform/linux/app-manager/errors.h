// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_MANAGER_ERRORS_H_
#define PLATFORM_LINUX_APP_MANAGER_ERRORS_H_

#include <app_manager.h>
#include <dlog.h>

#include <exception>
#include <new>

#include "sqlite/database.h"

namespace platform {

// Runs what stands behind a C function; a failure is logged as an error and becomes its code.
template <typename Body>
int WithErrorCode(Body body) {
  try {
    return body();
  } catch (const sqlite::DatabaseError& error) {
    dlog_print(DLOG_ERROR, "APPMGR", "%s", error.what());
    return APP_MANAGER_ERROR_DB_FAILED;
  } catch (const std::bad_alloc&) {
    return APP_MANAGER_ERROR_OUT_OF_MEMORY;
  } catch (const std::exception& error) {
    dlog_print(DLOG_ERROR, "APPMGR", "%s", error.what());
    return APP_MANAGER_ERROR_IO_ERROR;
  }
}

}  // namespace platform

#endif
