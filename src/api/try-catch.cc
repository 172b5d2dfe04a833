// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/try-catch.h"

#include <new>

#include "common/exceptions.h"
#include "qor_handler_manager.h"

namespace api {

int TryCatch(const std::function<int()>& body) {
  try {
    return body();
  } catch (const std::bad_alloc&) {
    return QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY;
  } catch (const InvalidParameter&) {
    return QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER;
  } catch (const IOError&) {
    return QOR_HANDLER_MANAGER_ERROR_IO_ERROR;
  } catch (const PermissionDenied&) {
    return QOR_HANDLER_MANAGER_ERROR_PERMISSION_DENIED;
  } catch (const NotInitialized&) {
    return QOR_HANDLER_MANAGER_ERROR_NOT_INITIALIZED;
  } catch (const AlreadyInitialized&) {
    return QOR_HANDLER_MANAGER_ERROR_ALREADY_INITIALIZED;
  } catch (const NotSupported&) {
    return QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED;
  } catch (const NoSpaceOnDevice&) {
    return QOR_HANDLER_MANAGER_ERROR_NO_SPACE_ON_DEVICE;
  } catch (const InvalidOperation&) {
    return QOR_HANDLER_MANAGER_ERROR_INVALID_OPERATION;
  } catch (const FailToSendAppControl&) {
    return QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL;
  } catch (const NotSupportedCommand&) {
    return QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND;
  } catch (...) {
    return QOR_HANDLER_MANAGER_ERROR_UNKNOWN;
  }
}

}  // namespace api
