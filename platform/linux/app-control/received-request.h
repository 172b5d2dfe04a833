// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_RECEIVED_REQUEST_H_
#define PLATFORM_LINUX_APP_CONTROL_RECEIVED_REQUEST_H_

#include <app_control.h>
#include <stddef.h>
#include <stdint.h>

extern "C" {

// Internal interface for the service application library. Creates the handle of a received request
// from its bytes and the sender's application id, "" if the sender could not be identified. Release
// with app_control_destroy(). Returns APP_CONTROL_ERROR_INVALID_PARAMETER for bytes that are not a
// request.
int platform_app_control_receive(const uint8_t* bytes, size_t size, const char* caller,
                                 app_control_h* request);
}

#endif
