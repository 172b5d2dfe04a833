/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef QOR_HANDLER_MANAGER_H_
#define QOR_HANDLER_MANAGER_H_

/** \file
 * Command routing between a device-management agent and handler applications.
 *
 * Conventions. Every function returns 0 or one of the errors below, and writes its outputs only on
 * success. Strings are UTF-8 and NUL-terminated; input strings are copied. No explicit
 * initialization is needed: the first call that needs the library starts it. Call the functions on
 * the thread that runs the platform's main loop; callbacks are called on that thread. A callback
 * may call any function, including qor_handler_manager_shutdown(). Arguments of a callback are
 * valid only during the call. `user_data` is passed to the callback unchanged and may be NULL.
 *
 * "Starts the library" below means: if the library is not running, the call finds the installed
 * handlers and opens the port that they connect to. If that fails, the call returns
 * #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY or #QOR_HANDLER_MANAGER_ERROR_UNKNOWN. The library stays
 * partially started, and later calls do not try again: call qor_handler_manager_shutdown() after a
 * failed start.
 *
 * On a device, finding handlers requires the privilege
 * http://tizen.org/privilege/packagemanager.info and launching them
 * http://tizen.org/privilege/appmanager.launch.
 *
 * Requires version 6.5 of the platform or later. */

#include <stdbool.h>
#include <time.h>

#ifndef EXPORT_API
/** Marks exported functions. */
#define EXPORT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** Return codes of the functions. */
typedef enum {
  /** Success. */
  QOR_HANDLER_MANAGER_ERROR_NONE = 0,
  /** Reading or writing failed. */
  QOR_HANDLER_MANAGER_ERROR_IO_ERROR = -5,
  /** Out of memory. */
  QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY = -12,
  /** Permission denied. Not returned for a missing privilege: see
   * #QOR_HANDLER_MANAGER_ERROR_UNKNOWN and #QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL. */
  QOR_HANDLER_MANAGER_ERROR_PERMISSION_DENIED = -13,
  /** An argument is invalid. The call had no effect. */
  QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER = -22,
  /** No space left on the device. */
  QOR_HANDLER_MANAGER_ERROR_NO_SPACE_ON_DEVICE = -28,
  /** The operation is not valid in the current state. */
  QOR_HANDLER_MANAGER_ERROR_INVALID_OPERATION = -38,
  /** Already initialized. */
  QOR_HANDLER_MANAGER_ERROR_ALREADY_INITIALIZED = -106,
  /** Not initialized. */
  QOR_HANDLER_MANAGER_ERROR_NOT_INITIALIZED = -107,
  /** Not supported by the platform. */
  QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED = -1073741822,
  /** Any other error, for example a uuid that is already pending, a timer that cannot be created,
   * or a start without the privilege packagemanager.info. */
  QOR_HANDLER_MANAGER_ERROR_UNKNOWN = -1073741824,
  /** The handler application could not be launched, for example without the privilege
   * appmanager.launch. */
  QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL = -1073741825,
  /** No installed handler serves the request type. */
  QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND = -1073741826
} qor_handler_manager_error_e;

/** Status of a command's result. Other values of handlers are passed on unchanged. */
typedef enum {
  /** The command was executed. */
  QOR_REQUEST_STATUS_SUCCESS = 0,
  /** The command failed. Also the status that the library reports for a timeout. */
  QOR_REQUEST_STATUS_FAILED = 1,
  /** Never reported; makes every int a valid value of the type. */
  QOR_REQUEST_STATUS_ANY_INT = -2147483647 - 1
} qor_request_status_e;

/** Kind of a handler update. */
typedef enum {
  /** The handler's package was installed. */
  QOR_HANDLER_UPDATE_ADDED = 0,
  /** The uninstall of the handler's package has started. If the uninstall fails, the handler stays
   * removed until its package is installed or updated, or the library is restarted. */
  QOR_HANDLER_UPDATE_REMOVED = 1,
  /** The handler's package was updated. An update without valid request types is not reported: the
   * handler keeps its old ones, even after an uninstall, until the library is restarted. */
  QOR_HANDLER_UPDATE_UPDATED = 2
} qor_handler_update_type_e;

/** Timeouts for qor_handler_manager_initialize(). */
typedef struct qor_handler_manager_configuration_s qor_handler_manager_configuration_s;
/** Handle of a configuration, created by qor_handler_manager_configuration_create() and released by
 * qor_handler_manager_configuration_destroy(). */
typedef qor_handler_manager_configuration_s* qor_handler_manager_configuration_h;

/** Record of a handler: application id and request types. */
typedef struct qor_handler_manager_handler_info_s qor_handler_manager_handler_info_s;
/** Handle of a handler's record. The library owns the records that it passes to callbacks; the
 * caller of qor_handler_manager_handler_info_clone() owns the clone. */
typedef qor_handler_manager_handler_info_s* qor_handler_manager_handler_info_h;

/** Reports a command's result, or the library's error after a timeout. A result that arrives after
 * the timeout is reported as well: the callback is then called twice with the same uuid.
 *
 * Not every command has a timeout. A command loses its timer when its handler connects, until the
 * handler fetches its commands, and can lose it when other commands of the same handler are sent or
 * completed. Without a timer it is completed only by the handler's result or dropped at shutdown.
 * docs/limitations.md describes the rules. An agent that needs a result or an error for every
 * command must set its own deadlines.
 *
 * The command is pending until the callback returns: sending its uuid to the same handler in the
 * callback fails with #QOR_HANDLER_MANAGER_ERROR_UNKNOWN. In the callback of a late result it
 * creates a command that is dropped without a response when the callback returns. Another command
 * that the callback sends to the same handler can lose its timer when the callback returns. Send
 * both in a later iteration of the main loop instead.
 *
 * \param uuid        uuid of the command
 * \param status      status of the result
 * \param result      the handler's result, JSON by convention; empty if there is none
 * \param result_len  length of `result` in bytes, without the NUL
 * \param error       the error, JSON by convention; empty if there is none
 * \param error_len   length of `error` in bytes, without the NUL
 * \param user_data   as given to qor_handler_manager_set_response_cb() */
typedef void (*qor_handler_manager_response_cb)(const char* uuid, qor_request_status_e status,
                                                const char* result, int result_len,
                                                const char* error, int error_len, void* user_data);

/** Decides on a handler's request for a new timeout of a command. A command without a timer, see
 * #qor_handler_manager_response_cb, gets no timer if the request is granted.
 *
 * \param handler_id  application id of the handler
 * \param uuid        uuid of the command
 * \param seconds     requested timeout in seconds from now. May be negative or infinite, but never
 *                    NaN: the library rejects such requests
 * \param user_data   as given to qor_handler_manager_set_negotiate_request_cb()
 * \return 1 to reject the request; any other value, or no callback, grants it */
typedef int (*qor_handler_manager_negotiate_request_cb)(const char* handler_id, const char* uuid,
                                                        double seconds, void* user_data);

/** Reports that a handler was installed, removed or updated.
 *
 * \param type       kind of the update
 * \param info       record of the handler, valid during the call; clone it to keep it
 * \param user_data  as given to qor_handler_manager_set_handler_update_cb() */
typedef void (*qor_handler_manager_handler_update_cb)(qor_handler_update_type_e type,
                                                      qor_handler_manager_handler_info_h info,
                                                      void* user_data);

/** Receives one handler of an enumeration.
 *
 * \param info       record of the handler, valid during the call; clone it to keep it
 * \param user_data  as given to qor_handler_manager_foreach_handler_info()
 * \return true to continue, false to stop the enumeration */
typedef bool (*qor_handler_manager_handler_info_cb)(qor_handler_manager_handler_info_h info,
                                                    void* user_data);

/** Creates a configuration with the default timeouts: 5000 ms for connection, 3000 ms for
 * execution. Does not start the library.
 *
 * \param[out] config  the configuration; the caller must destroy it
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if `config` is NULL,
 *         #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY */
EXPORT_API int qor_handler_manager_configuration_create(
    qor_handler_manager_configuration_h* config);

/** Sets the connection timeout: the time within which a launched handler must connect. Not every
 * command keeps its timer: see #qor_handler_manager_response_cb.
 *
 * \param config        the configuration
 * \param milliseconds  any value; values of 0 and less expire at once
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if `config` is NULL */
EXPORT_API int qor_handler_manager_configuration_set_connection_timeout(
    qor_handler_manager_configuration_h config, int milliseconds);

/** Sets the execution timeout: the time within which a handler must report a command's result, from
 * the delivery of the command or, if the handler is connected, from sending it. Not every command
 * keeps its timer: see #qor_handler_manager_response_cb.
 *
 * \param config        the configuration
 * \param milliseconds  any value; values of 0 and less expire at once
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if `config` is NULL */
EXPORT_API int qor_handler_manager_configuration_set_command_execution_timeout(
    qor_handler_manager_configuration_h config, int milliseconds);

/** Releases a configuration. The library does not refer to it after
 * qor_handler_manager_initialize().
 *
 * \param config  the configuration
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if `config` is NULL */
EXPORT_API int qor_handler_manager_configuration_destroy(
    qor_handler_manager_configuration_h config);

/** Starts the library and applies the configuration to timers that are started from now on. May be
 * called again to apply another configuration. After a failed start, further calls return
 * #QOR_HANDLER_MANAGER_ERROR_NONE without starting the library, until
 * qor_handler_manager_shutdown() is called.
 *
 * \param config  the configuration to copy; the caller keeps ownership. With NULL the call has no
 *                effect: the first call that needs the library starts it
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE, or the error of the start */
EXPORT_API int qor_handler_manager_initialize(qor_handler_manager_configuration_h config);

/** Stops the library. Drops pending commands without a response, and resets callbacks and
 * configuration. The next call that needs the library starts it again.
 *
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE, even if the library was not running */
EXPORT_API int qor_handler_manager_shutdown(void);

/** Sends a command to the preferred handler of `request_type` and launches the handler if it is not
 * connected. Starts the library. On success the command is pending, and the response callback
 * reports its result or its timeout; see #qor_handler_manager_response_cb for commands without a
 * timer.
 *
 * After #QOR_HANDLER_MANAGER_ERROR_UNKNOWN or #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY the command
 * may be pending without a timer or without having been delivered: it may be delivered later, and
 * the response callback may report its result. After the other errors it is not pending.
 *
 * \param uuid          identifies the command; not empty, and not pending at that handler
 * \param request_type  the request type; not empty
 * \param payload       JSON by convention, or NULL; passed on unchanged
 * \param payload_len   from 0 to the length of `payload` in bytes; 0 or negative if `payload` is
 * NULL. The whole payload is sent in any case \param timestamp     not negative; passed on
 * unchanged \return #QOR_HANDLER_MANAGER_ERROR_NONE: the command is pending;
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER for an invalid argument;
 *         #QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND if no handler serves the type;
 *         #QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL if the handler cannot be launched;
 *         #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY;
 *         #QOR_HANDLER_MANAGER_ERROR_UNKNOWN for any other error: the uuid is pending, the platform
 *         creates no timer, the handler cannot be reached, or the library cannot start */
EXPORT_API int qor_handler_manager_send_command(const char* uuid, const char* request_type,
                                                const char* payload, int payload_len,
                                                time_t timestamp);

/** Sets the callback for responses. Replaces the previous one. Starts the library.
 *
 * \param callback   called on the main loop's thread
 * \param user_data  passed to `callback`
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if `callback` is NULL, or the error of the
 *         start */
EXPORT_API int qor_handler_manager_set_response_cb(qor_handler_manager_response_cb callback,
                                                   void* user_data);

/** Sets the callback that decides on requests for new timeouts. Replaces the previous one. Starts
 * the library.
 *
 * \param callback   called on the main loop's thread
 * \param user_data  passed to `callback`
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if `callback` is NULL, or the error of the
 *         start */
EXPORT_API int qor_handler_manager_set_negotiate_request_cb(
    qor_handler_manager_negotiate_request_cb callback, void* user_data);

/** Sets the callback for installed, removed and updated handlers. Replaces the previous one. The
 * change has taken effect when the callback is called. Starts the library.
 *
 * \param callback   called on the main loop's thread
 * \param user_data  passed to `callback`
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if `callback` is NULL, or the error of the
 *         start */
EXPORT_API int qor_handler_manager_set_handler_update_cb(
    qor_handler_manager_handler_update_cb callback, void* user_data);

/** Calls `callback` for each registered handler, during this call, in no particular order, until it
 * returns false. A handler whose package was installed twice without an uninstall is listed twice.
 * Starts the library.
 *
 * \param callback   called on the caller's thread
 * \param user_data  passed to `callback`
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE, even if `callback` stopped the enumeration,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if `callback` is NULL,
 *         #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY, or the error of the start */
EXPORT_API int qor_handler_manager_foreach_handler_info(
    qor_handler_manager_handler_info_cb callback, void* user_data);

/** Copies a record. The copy is independent of its source.
 *
 * \param handle      the record to copy
 * \param[out] clone  the copy; the caller must destroy it
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if an argument is NULL,
 *         #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY */
EXPORT_API int qor_handler_manager_handler_info_clone(qor_handler_manager_handler_info_h handle,
                                                      qor_handler_manager_handler_info_h* clone);

/** Releases a clone. Must not be called for a record that was passed to a callback.
 *
 * \param handle  the clone
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if `handle` is NULL */
EXPORT_API int qor_handler_manager_handler_info_destroy(qor_handler_manager_handler_info_h handle);

/** Returns a handler's application id.
 *
 * \param handle      the record
 * \param[out] appid  a string owned by the record; must not be modified or freed
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if an argument is NULL */
EXPORT_API int qor_handler_manager_handler_info_appid_get(qor_handler_manager_handler_info_h handle,
                                                          char** appid);

/** Returns a handler's request types.
 *
 * \param handle                the record
 * \param[out] supported_types  a NULL-terminated array of strings owned by the record; must not be
 *                              modified or freed
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER if an argument is NULL */
EXPORT_API int qor_handler_manager_handler_info_supported_request_types_get(
    qor_handler_manager_handler_info_h handle, char*** supported_types);

#ifdef __cplusplus
}
#endif

#endif
