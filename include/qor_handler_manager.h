/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef QOR_HANDLER_MANAGER_H_
#define QOR_HANDLER_MANAGER_H_

/** \file
 * Command routing between a device-management agent and handler applications.
 *
 * Conventions. Every function returns 0 or one of the errors below, and writes its outputs only on
 * success. Texts are UTF-8, NUL terminated; texts in are copied. There is nothing to open: the
 * first call that needs the library starts it. Call from the thread that runs the platform's main
 * loop; callbacks come on that thread. A callback may call any function here, shutdown included.
 * Arguments of a callback are valid only during the call. `user_data` is handed back as it was
 * given and may be NULL.
 *
 * "Starts the library" below means: when it is not running, the call finds the installed handlers
 * and opens the port that they connect to. A failure there is returned by that call, as
 * #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY or #QOR_HANDLER_MANAGER_ERROR_UNKNOWN. The part that was
 * built stays, and later calls use it without another attempt: call qor_handler_manager_shutdown()
 * after a failed start.
 *
 * On a device, finding handlers needs the privilege http://tizen.org/privilege/packagemanager.info
 * and launching them http://tizen.org/privilege/appmanager.launch.
 *
 * Needs version 6.5 of the platform or later. */

#include <stdbool.h>
#include <time.h>

#ifndef EXPORT_API
/** Marks what the library shows. */
#define EXPORT_API __attribute__((visibility("default")))
#endif

#ifdef __cplusplus
extern "C" {
#endif

/** What the functions return. */
typedef enum {
  /** Success. */
  QOR_HANDLER_MANAGER_ERROR_NONE = 0,
  /** Reading or writing failed. */
  QOR_HANDLER_MANAGER_ERROR_IO_ERROR = -5,
  /** There is not enough memory. */
  QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY = -12,
  /** Permission denied. Not returned for a missing privilege: see
   * #QOR_HANDLER_MANAGER_ERROR_UNKNOWN and #QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL. */
  QOR_HANDLER_MANAGER_ERROR_PERMISSION_DENIED = -13,
  /** An argument is not what the function takes; nothing was done. */
  QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER = -22,
  /** There is no room left on the device. */
  QOR_HANDLER_MANAGER_ERROR_NO_SPACE_ON_DEVICE = -28,
  /** The operation does not fit the state. */
  QOR_HANDLER_MANAGER_ERROR_INVALID_OPERATION = -38,
  /** Something was started that runs already. */
  QOR_HANDLER_MANAGER_ERROR_ALREADY_INITIALIZED = -106,
  /** Something was used that has not been started. */
  QOR_HANDLER_MANAGER_ERROR_NOT_INITIALIZED = -107,
  /** The platform does not have it. */
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

/** How a command ended. Values of a handler's own are passed on unchanged. */
typedef enum {
  /** The handler carried the command out. */
  QOR_REQUEST_STATUS_SUCCESS = 0,
  /** The handler failed the command. Also the status of the library's own timeout results. */
  QOR_REQUEST_STATUS_FAILED = 1,
  /** Never passed; makes the type wide enough for any int. */
  QOR_REQUEST_STATUS_ANY_INT = -2147483647 - 1
} qor_request_status_e;

/** What happened to a handler. */
typedef enum {
  /** Its package was installed. */
  QOR_HANDLER_UPDATE_ADDED = 0,
  /** The uninstall of its package has started. When that fails, the handler stays removed until its
   * package is installed or updated, or the library is started anew. */
  QOR_HANDLER_UPDATE_REMOVED = 1,
  /** Its package was updated. An update that leaves no valid request types is not reported, and the
   * handler keeps its old ones, even after an uninstall, until the library is started anew. */
  QOR_HANDLER_UPDATE_UPDATED = 2
} qor_handler_update_type_e;

/** Timeouts, to be handed to qor_handler_manager_initialize(). */
typedef struct qor_handler_manager_configuration_s qor_handler_manager_configuration_s;
/** A configuration: made by qor_handler_manager_configuration_create(), released by
 * qor_handler_manager_configuration_destroy(). */
typedef qor_handler_manager_configuration_s* qor_handler_manager_configuration_h;

/** What is known of a handler: its application id and its request types. */
typedef struct qor_handler_manager_handler_info_s qor_handler_manager_handler_info_s;
/** A record of a handler. One that a callback gets belongs to the library; a clone belongs to who
 * made it. */
typedef qor_handler_manager_handler_info_s* qor_handler_manager_handler_info_h;

/** Reports the handler's result for a command, or the library's own error after a timeout. A result
 * that arrives after the timeout is reported too: the same uuid then comes twice.
 *
 * Not every command ends by a timeout. A command loses its timer when its handler connects, until
 * the handler asks for commands, and can lose it when other commands of the same handler are sent
 * or end. Without a timer it ends only by the handler's result or at shutdown. docs/limitations.md
 * has the rules. An agent that needs an end for every command sets a deadline of its own.
 *
 * The command is pending until the callback returns: sending its uuid to the same handler in the
 * callback fails with #QOR_HANDLER_MANAGER_ERROR_UNKNOWN, or, in the callback of a late result,
 * creates a command that ends without a response when the callback returns. Another command that
 * the callback sends to the same handler can lose its timer when the callback returns. Send both
 * from the main loop instead, after the callback.
 *
 * \param uuid        the command's
 * \param status      how it ended
 * \param result      the handler's result, a JSON text by convention; empty when there is none
 * \param result_len  bytes of `result`, without the NUL
 * \param error       the error, a JSON text by convention; empty when there is none
 * \param error_len   bytes of `error`, without the NUL
 * \param user_data   as given to qor_handler_manager_set_response_cb() */
typedef void (*qor_handler_manager_response_cb)(const char* uuid, qor_request_status_e status,
                                                const char* result, int result_len,
                                                const char* error, int error_len, void* user_data);

/** A handler asks for more time for a command. A command that has no timer, see
 * #qor_handler_manager_response_cb, gets none when the time is granted.
 *
 * \param handler_id  the handler's application id
 * \param uuid        the command's
 * \param seconds     how many it asks for, counted from now: any number, also a negative or an
 *                    infinite one, but never NaN, which the library refuses by itself
 * \param user_data   as given to qor_handler_manager_set_negotiate_request_cb()
 * \return 1 to refuse; anything else grants it, as does having no callback */
typedef int (*qor_handler_manager_negotiate_request_cb)(const char* handler_id, const char* uuid,
                                                        double seconds, void* user_data);

/** A handler was installed, removed or updated.
 *
 * \param type       which of them
 * \param info       the handler; dies with the call: clone it to keep it
 * \param user_data  as given to qor_handler_manager_set_handler_update_cb() */
typedef void (*qor_handler_manager_handler_update_cb)(qor_handler_update_type_e type,
                                                      qor_handler_manager_handler_info_h info,
                                                      void* user_data);

/** One handler of an enumeration.
 *
 * \param info       the handler; dies with the call: clone it to keep it
 * \param user_data  as given to qor_handler_manager_foreach_handler_info()
 * \return true to go on, false to end the enumeration */
typedef bool (*qor_handler_manager_handler_info_cb)(qor_handler_manager_handler_info_h info,
                                                    void* user_data);

/** Makes a configuration, which allows 3000 ms for an answer and 5000 ms for a launched handler to
 * connect. Does not start the library.
 *
 * \param[out] config  the configuration, to be destroyed by the caller
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when `config` is NULL,
 *         #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY */
EXPORT_API int qor_handler_manager_configuration_create(
    qor_handler_manager_configuration_h* config);

/** Sets how long a handler that was launched may take to connect. Not every command keeps its
 * timer: see #qor_handler_manager_response_cb.
 *
 * \param config        the configuration
 * \param milliseconds  any value is taken; 0 and less end a command at once
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when `config` is NULL */
EXPORT_API int qor_handler_manager_configuration_set_connection_timeout(
    qor_handler_manager_configuration_h config, int milliseconds);

/** Sets how long a handler may take to answer a command, from the moment it is delivered or, while
 * the handler is connected, sent. Not every command keeps its timer: see
 * #qor_handler_manager_response_cb.
 *
 * \param config        the configuration
 * \param milliseconds  any value is taken; 0 and less end a command at once
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when `config` is NULL */
EXPORT_API int qor_handler_manager_configuration_set_command_execution_timeout(
    qor_handler_manager_configuration_h config, int milliseconds);

/** Releases a configuration. The library keeps none: it may be one that was handed over.
 *
 * \param config  the configuration
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when `config` is NULL */
EXPORT_API int qor_handler_manager_configuration_destroy(
    qor_handler_manager_configuration_h config);

/** Starts the library and applies the configuration to the timers started from now on. May be
 * called again, to apply another one. After a failed start it returns
 * #QOR_HANDLER_MANAGER_ERROR_NONE without starting anything, until qor_handler_manager_shutdown()
 * is called.
 *
 * \param config  the values to copy; stays the caller's. With NULL nothing is started or changed:
 *                the first call that needs the library will start it
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE or what keeps the library from starting */
EXPORT_API int qor_handler_manager_initialize(qor_handler_manager_configuration_h config);

/** Stops the library. Pending commands are dropped without a response, callbacks and configuration
 * forgotten. The next call that needs the library starts it anew.
 *
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE, also when it was not running */
EXPORT_API int qor_handler_manager_shutdown(void);

/** Sends a command to the preferred handler of `request_type`, which is launched when it is not
 * connected. Starts the library. On success the command is pending, and the response callback
 * reports its result or its timeout; see #qor_handler_manager_response_cb for commands without a
 * timer.
 *
 * After #QOR_HANDLER_MANAGER_ERROR_UNKNOWN or #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY the command
 * may still be pending, without a timer or without having been delivered: it may be delivered
 * later, and the response callback may report its end. After the other errors it is not pending.
 *
 * \param uuid          names the command; not empty, and not pending at that handler
 * \param request_type  what is asked for; not empty
 * \param payload       a JSON text or NULL; passed on as it is
 * \param payload_len   bytes of `payload`: not more than it has, and not below 0 with a text; not
 *                      above 0 without one. Whatever it says, the whole text is sent
 * \param timestamp     not negative; is only passed on
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE: the command is pending;
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER for an invalid argument;
 *         #QOR_HANDLER_MANAGER_ERROR_NOT_SUPPORTED_COMMAND when no handler serves the type;
 *         #QOR_HANDLER_MANAGER_ERROR_FAIL_TO_SEND_APP_CONTROL when the handler cannot be launched;
 *         #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY;
 *         #QOR_HANDLER_MANAGER_ERROR_UNKNOWN for any other error: the uuid is pending, the platform
 *         creates no timer, the handler cannot be reached, or the library cannot start */
EXPORT_API int qor_handler_manager_send_command(const char* uuid, const char* request_type,
                                                const char* payload, int payload_len,
                                                time_t timestamp);

/** Names the function that is told how commands end, in place of the one before. Starts the
 * library.
 *
 * \param callback   called on the main loop's thread
 * \param user_data  handed to `callback`
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when `callback` is NULL, or what keeps the
 *         library from starting */
EXPORT_API int qor_handler_manager_set_response_cb(qor_handler_manager_response_cb callback,
                                                   void* user_data);

/** Names the function that decides whether a handler gets more time, in place of the one before.
 * Starts the library.
 *
 * \param callback   called on the main loop's thread
 * \param user_data  handed to `callback`
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when `callback` is NULL, or what keeps the
 *         library from starting */
EXPORT_API int qor_handler_manager_set_negotiate_request_cb(
    qor_handler_manager_negotiate_request_cb callback, void* user_data);

/** Names the function that is told of installed, removed and updated handlers, in place of the one
 * before. When it is called the change has taken effect. Starts the library.
 *
 * \param callback   called on the main loop's thread
 * \param user_data  handed to `callback`
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when `callback` is NULL, or what keeps the
 *         library from starting */
EXPORT_API int qor_handler_manager_set_handler_update_cb(
    qor_handler_manager_handler_update_cb callback, void* user_data);

/** Calls `callback` for every registered handler, within this call, in no particular order, until
 * it returns false. A handler whose package was installed twice without an uninstall comes twice.
 * Starts the library.
 *
 * \param callback   called on the caller's thread
 * \param user_data  handed to `callback`
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE, also when `callback` ended it,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when `callback` is NULL,
 *         #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY, or what keeps the library from starting */
EXPORT_API int qor_handler_manager_foreach_handler_info(
    qor_handler_manager_handler_info_cb callback, void* user_data);

/** Copies a record. The copy is independent of its source.
 *
 * \param handle      the record to copy
 * \param[out] clone  the copy, to be destroyed by the caller
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when one of them is NULL,
 *         #QOR_HANDLER_MANAGER_ERROR_OUT_OF_MEMORY */
EXPORT_API int qor_handler_manager_handler_info_clone(qor_handler_manager_handler_info_h handle,
                                                      qor_handler_manager_handler_info_h* clone);

/** Releases a clone. Never for the record that a callback gets.
 *
 * \param handle  the clone
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when it is NULL */
EXPORT_API int qor_handler_manager_handler_info_destroy(qor_handler_manager_handler_info_h handle);

/** Tells a handler's application id.
 *
 * \param handle      the record
 * \param[out] appid  a text in the record, valid while it lives; not to be changed or freed
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when one of them is NULL */
EXPORT_API int qor_handler_manager_handler_info_appid_get(qor_handler_manager_handler_info_h handle,
                                                          char** appid);

/** Tells a handler's request types.
 *
 * \param handle                the record
 * \param[out] supported_types  an array of texts in the record that ends with NULL, valid while it
 *                              lives; not to be changed or freed
 * \return #QOR_HANDLER_MANAGER_ERROR_NONE,
 *         #QOR_HANDLER_MANAGER_ERROR_INVALID_PARAMETER when one of them is NULL */
EXPORT_API int qor_handler_manager_handler_info_supported_request_types_get(
    qor_handler_manager_handler_info_h handle, char*** supported_types);

#ifdef __cplusplus
}
#endif

#endif
