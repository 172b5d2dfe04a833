// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_APP_CONTROL_RECEIVED_REQUEST_H_
#define PLATFORM_LINUX_APP_CONTROL_RECEIVED_REQUEST_H_

#include <app_control.h>
#include <stddef.h>
#include <stdint.h>

extern "C" {

// For the library that runs applications: makes the handle of a request from the bytes that came
// and from the sender's identity ("" when it could not be told). Release with
// app_control_destroy(). APP_CONTROL_ERROR_INVALID_PARAMETER for bytes that are no request.
int platform_app_control_receive(const uint8_t* bytes, size_t size, const char* caller,
                                 app_control_h* request);
}

#endif
