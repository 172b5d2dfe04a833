/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef QOR_HANDLER_MANAGER_H_
#define QOR_HANDLER_MANAGER_H_

/* Command routing between a device-management agent and handler applications.
 *
 * Conventions. Every function returns 0 or one of the errors below, and writes its outputs only on
 * success. Texts are UTF-8, NUL terminated; texts in are copied. There is nothing to open: the
 * first call that needs the library starts it. Call from the thread that runs the platform's main
 * loop; callbacks come on that thread. A callback may call any function here, shutdown included.
 * Arguments of a callback are valid only during the call. `user_data` is handed back as it was
 * given and may be NULL. */

#include <stdbool.h>
#include <time.h>

#ifndef EXPORT_API
#define EXPORT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

typedef enum {
  QOR_HANDLER_MANAGER_ERROR_NONE = 0,
  QOR_HANDLER_MANAGER_ERROR_IO_ERROR = -5,
  QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY = -12,
  QOR_HANDLER_MANAGER_ERROR_PERMISSION_DENIED = -13,
  QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER = -22,
  QOR_HANDLER_MANAGER_ERROR_NO_SPACE_ON_DEVICE = -28,
  QOR_HANDLER_MANAGER_ERROR_INVALID_OPERATION = -38,
  QOR_HANDLER_MANAGER_ERROR_ALREADY_INITIALIZED = -106,
  QOR_HANDLER_MANAGER_ERROR_NOT_INITIALIZED = -107,
  QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED = -1073741822,
  /* Everything else, a command uuid that is already pending among it. */
  QOR_HANDLER_MANAGER_ERROR_UNKNOWN = -1073741824,
  /* The handler application could not be launched. */
  QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL = -1073741825,
  /* No installed handler serves the request type. */
  QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND = -1073741826
} qor_handler_manager_error_e;

/* How a command ended. Values of a handler's own are passed on unchanged. */
typedef enum {
  QOR_REQUEST_STATUS_SUCCESS = 0,
  /* Also the status of the library's own timeout results. */
  QOR_REQUEST_STATUS_FAILED = 1,
  /* Never passed; makes the type wide enough for any int. */
  QOR_REQUEST_STATUS_ANY_INT = -2147483647 - 1
} qor_request_status_e;

typedef enum {
  QOR_HANDLER_UPDATE_ADDED = 0,
  QOR_HANDLER_UPDATE_REMOVED = 1,
  QOR_HANDLER_UPDATE_UPDATED = 2
} qor_handler_update_type_e;

typedef struct qor_handler_manager_configuration_s qor_handler_manager_configuration_s;
typedef qor_handler_manager_configuration_s* qor_handler_manager_configuration_h;

typedef struct qor_handler_manager_handler_info_s qor_handler_manager_handler_info_s;
typedef qor_handler_manager_handler_info_s* qor_handler_manager_handler_info_h;

/* The end of a command: a handler's result, or an error of the library's own when the handler did
 * not connect or did not answer in time. Lengths are in bytes, without the NUL. A handler that
 * answers after its time is heard too: the same uuid then comes twice. */
typedef void (*qor_handler_manager_response_cb)(const char* uuid, qor_request_status_e status,
                                                const char* result, int result_len,
                                                const char* error, int error_len, void* user_data);

/* A handler asks for `seconds` for a command, counted from now. Return 1 to refuse; anything else
 * grants it, as does having no callback. */
typedef int (*qor_handler_manager_negotiate_request_cb)(const char* handler_id, const char* uuid,
                                                        double seconds, void* user_data);

/* A handler was installed, removed or updated. `info` dies with the call: clone it to keep it. */
typedef void (*qor_handler_manager_handler_update_cb)(qor_handler_update_type_e type,
                                                      qor_handler_manager_handler_info_h info,
                                                      void* user_data);

/* One handler of an enumeration. `info` dies with the call. Return true to go on. */
typedef bool (*qor_handler_manager_handler_info_cb)(qor_handler_manager_handler_info_h info,
                                                    void* user_data);

/* Timeouts, in milliseconds, to be handed to qor_handler_manager_initialize(). Any value is taken.
 * A fresh configuration allows 3000 ms for an answer and 5000 ms for a launched handler to connect.
 */
EXPORT_API int qor_handler_manager_configuration_create(
    qor_handler_manager_configuration_h* config);
EXPORT_API int qor_handler_manager_configuration_set_connection_timeout(
    qor_handler_manager_configuration_h config, int milliseconds);
EXPORT_API int qor_handler_manager_configuration_set_command_execution_timeout(
    qor_handler_manager_configuration_h config, int milliseconds);
EXPORT_API int qor_handler_manager_configuration_destroy(
    qor_handler_manager_configuration_h config);

/* Starts the library and applies the configuration to the timers started from now on; it may be
 * destroyed afterwards. With NULL nothing is started: the first call that needs the library will.
 */
EXPORT_API int qor_handler_manager_initialize(qor_handler_manager_configuration_h config);

/* Stops the library. Pending commands are dropped without a response. */
EXPORT_API int qor_handler_manager_shutdown(void);

/* Sends a command to the preferred handler of `request_type`, which is launched when it is not
 * connected. `payload` is a JSON text or NULL; a `payload_len` beyond the text's length, or a
 * length without a text, is an invalid parameter; otherwise the whole text is sent. `timestamp`,
 * not negative, is only passed on. The uuid must not be pending at that handler. */
EXPORT_API int qor_handler_manager_send_command(const char* uuid, const char* request_type,
                                                const char* payload, int payload_len,
                                                time_t timestamp);

/* Each replaces the callback set before. */
EXPORT_API int qor_handler_manager_set_response_cb(qor_handler_manager_response_cb callback,
                                                   void* user_data);
EXPORT_API int qor_handler_manager_set_negotiate_request_cb(
    qor_handler_manager_negotiate_request_cb callback, void* user_data);
EXPORT_API int qor_handler_manager_set_handler_update_cb(
    qor_handler_manager_handler_update_cb callback, void* user_data);

/* Calls `callback` for every registered handler, within this call, until it returns false. */
EXPORT_API int qor_handler_manager_foreach_handler_info(
    qor_handler_manager_handler_info_cb callback, void* user_data);

/* A clone is independent of its source and must be destroyed. */
EXPORT_API int qor_handler_manager_handler_info_clone(qor_handler_manager_handler_info_h handle,
                                                      qor_handler_manager_handler_info_h* clone);
EXPORT_API int qor_handler_manager_handler_info_destroy(qor_handler_manager_handler_info_h handle);

/* Both give pointers into the record, valid while it lives, not to be freed. */
EXPORT_API int qor_handler_manager_handler_info_appid_get(qor_handler_manager_handler_info_h handle,
                                                          char** appid);
/* An array of texts that ends with NULL. */
EXPORT_API int qor_handler_manager_handler_info_supported_request_types_get(
    qor_handler_manager_handler_info_h handle, char*** supported_types);

#ifdef __cplusplus
}
#endif

#endif
