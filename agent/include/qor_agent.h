/* Copyright 2026 The qor-handler-manager authors. SPDX-License-Identifier: Apache-2.0 */

#ifndef QOR_AGENT_H_
#define QOR_AGENT_H_

/** \file
 * Durable commands with exactly one outcome, for authors of device-management agents.
 *
 * An agent submits commands and receives one outcome for each, also when its process, a handler or
 * the device ends in between. Commands and outcomes are kept in a journal, a file of the agent.
 *
 * Conventions. Functions return #QOR_AGENT_ERROR_NONE, or one of the errors below and then change
 * nothing. Texts are UTF-8, NUL terminated; texts in are copied. Call from the thread that runs the
 * main loop; callbacks come on that thread, from the main loop, never from within a function of
 * this header. A callback may call any function here but qor_agent_close(). Arguments of a callback
 * are valid only during the call. A structure begins with its size, which the …_INIT macros set, so
 * that later versions can add members.
 *
 * One agent per process. While it is open it owns the library's callbacks and configuration: do not
 * call the qor_handler_manager_… functions, except those that list handlers and their request
 * types. */

#include <qor_handler_manager.h>
#include <stdbool.h>
#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/** An open agent. */
typedef struct qor_agent_s* qor_agent_h;

/** What the functions return. */
typedef enum {
  /** Success; a submitted command is accepted. */
  QOR_AGENT_ERROR_NONE = 0,
  /** The journal cannot be read or written. A command that was rejected with this error can be in
   * the journal only when the power fails before a later write succeeds. */
  QOR_AGENT_ERROR_IO_ERROR = -5,
  /** The library cannot start, see the log. */
  QOR_AGENT_ERROR_LIBRARY = -8,
  /** There is not enough memory. */
  QOR_AGENT_ERROR_OUT_OF_MEMORY = -12,
  /** The journal must not be read or written by this user. */
  QOR_AGENT_ERROR_PERMISSION_DENIED = -13,
  /** The journal is open in another process, or this process has an open agent. */
  QOR_AGENT_ERROR_BUSY = -16,
  /** The uuid belongs to a command with another request type or payload. */
  QOR_AGENT_ERROR_CONFLICT = -17,
  /** An argument is NULL, empty or out of range. */
  QOR_AGENT_ERROR_INVALID_PARAMETER = -22,
  /** The disk is full. */
  QOR_AGENT_ERROR_NO_SPACE = -28,
  /** The journal or its file system is read-only. */
  QOR_AGENT_ERROR_READ_ONLY = -30,
  /** No command has this uuid, or it has no outcome yet. */
  QOR_AGENT_ERROR_NOT_FOUND = -61,
  /** The deadline has passed. */
  QOR_AGENT_ERROR_DEADLINE = -62,
  /** The journal is damaged, or the file is not a journal. It is left as it is. */
  QOR_AGENT_ERROR_JOURNAL_DAMAGED = -74,
  /** A text is not valid UTF-8. */
  QOR_AGENT_ERROR_INVALID_TEXT = -84,
  /** A uuid, request type or payload is longer than its limit. */
  QOR_AGENT_ERROR_TOO_LONG = -90,
  /** The journal was written by a newer version. */
  QOR_AGENT_ERROR_JOURNAL_VERSION = -93,
  /** The agent holds as many commands, or bytes of them, as its settings allow. */
  QOR_AGENT_ERROR_LIMIT = -122,
  /** The command was submitted before, with the same request type and payload. Its outcome was or
   * will be reported. */
  QOR_AGENT_ERROR_ALREADY_KNOWN = -114
} qor_agent_error_e;

/** Limits of a command's texts, in bytes. The payload has to fit into one message of the platform
 * together with the other texts. */
enum {
  QOR_AGENT_MAX_UUID = 256,
  QOR_AGENT_MAX_REQUEST_TYPE = 4096,
  QOR_AGENT_MAX_PAYLOAD = 4000000
};

/** Whether a command that may have been delivered is delivered again. Commands that certainly were
 * not are always sent again until their deadline. */
typedef enum {
  /** Not again by the agent. The handler has to be one that recognizes redelivered commands: the
   * library delivers a pending command again to a handler that connects anew. */
  QOR_AGENT_AT_MOST_ONCE = 0,
  /** Again, with the same uuid, when the library reports an execution timeout and when the agent
   * was restarted before the answer. */
  QOR_AGENT_AT_LEAST_ONCE = 1
} qor_agent_policy_e;

/** How a command ended. */
typedef enum {
  /** The handler carried it out. */
  QOR_AGENT_SUCCEEDED = 0,
  /** The handler reported an error. */
  QOR_AGENT_FAILED = 1,
  /** No handler has received it, see #qor_agent_reason_e. */
  QOR_AGENT_NOT_DELIVERED = 2,
  /** It may have been delivered; there was no answer by the deadline. An answer that comes later is
   * reported once more, as an amendment. */
  QOR_AGENT_UNKNOWN = 3
} qor_agent_outcome_kind_e;

/** Why a command was not delivered: the last attempt's failure. */
typedef enum {
  /** It was delivered, or may have been. */
  QOR_AGENT_REASON_NONE = 0,
  /** No installed handler serves the request type. */
  QOR_AGENT_REASON_NO_HANDLER = 1,
  /** The handler could not be launched. */
  QOR_AGENT_REASON_LAUNCH_FAILED = 2,
  /** The handler was launched and did not connect. Not tried again shortly before the deadline. */
  QOR_AGENT_REASON_NOT_CONNECTED = 3,
  /** The deadline passed while earlier commands of the same handler were in flight. */
  QOR_AGENT_REASON_NOT_SENT = 4
} qor_agent_reason_e;

/** A command to submit. */
typedef struct {
  /** sizeof(qor_agent_command_s). */
  size_t size;
  /** Names the command, at most #QOR_AGENT_MAX_UUID bytes; see qor_agent_new_uuid(). */
  const char* uuid;
  /** What is asked for, at most #QOR_AGENT_MAX_REQUEST_TYPE bytes. */
  const char* request_type;
  /** A JSON text by convention, or NULL; at most #QOR_AGENT_MAX_PAYLOAD bytes. */
  const char* payload;
  /** Handed to the handler; not negative. */
  int64_t timestamp;
  /** When the command ends at the latest, in milliseconds since 1970-01-01 UTC. Measured by a
   * monotonic clock from the submission on, so that setting the clock does not move it; by the
   * real-time clock only across a reboot. */
  int64_t deadline_ms;
  /** Whether it is delivered again. */
  qor_agent_policy_e policy;
  /** Wait until its deadline for a handler that is not installed. Otherwise the command ends as not
   * delivered when no handler serves its type. */
  bool waits_for_handler;
} qor_agent_command_s;

/** Initializer of a #qor_agent_command_s. */
#define QOR_AGENT_COMMAND_INIT \
  { sizeof(qor_agent_command_s), NULL, NULL, NULL, 0, 0, QOR_AGENT_AT_MOST_ONCE, false }

/** The outcome of a command. */
typedef struct {
  /** sizeof(qor_agent_outcome_s). */
  size_t size;
  const char* uuid;
  const char* request_type;
  qor_agent_outcome_kind_e kind;
  qor_agent_reason_e reason;
  /** The handler's status; 0 without an answer. */
  int status;
  /** The handler's result or error; "" when there is none. */
  const char* result;
  const char* error;
  /** The answer to a command whose outcome was reported as unknown. */
  bool is_amendment;
} qor_agent_outcome_s;

/** Reports an outcome, which is durable. It is reported again at each start until
 * qor_agent_confirm() is called for its uuid.
 *
 * \param outcome    valid during the call
 * \param user_data  from the settings */
typedef void (*qor_agent_outcome_cb)(const qor_agent_outcome_s* outcome, void* user_data);

/** Decides whether a handler gets more time for a command, and moves its deadline accordingly.
 *
 * \param handler_id  the handler's application id
 * \param uuid        the command's
 * \param seconds     counted from now; positive and finite
 * \param user_data   from the settings
 * \return true to grant */
typedef bool (*qor_agent_extension_cb)(const char* handler_id, const char* uuid, double seconds,
                                       void* user_data);

/** Receives a line of the agent's log.
 *
 * \param text       without a line end
 * \param user_data  from the settings */
typedef void (*qor_agent_log_cb)(const char* text, void* user_data);

/** How an agent works. Members that are 0 stand for the default. */
typedef struct {
  /** sizeof(qor_agent_settings_s). */
  size_t size;
  /** The journal's path; its folder must exist. NULL keeps everything in memory only: then nothing
   * outlives the process. */
  const char* journal;
  /** Set a damaged journal aside as "JOURNAL.damaged" and begin a new one. The commands in it are
   * lost; without this qor_agent_open() fails. */
  bool replace_damaged_journal;
  /** Commands in flight at one handler; 1 by default. A single pending command always keeps the
   * library's timers; several may lose them, and are then known to be undelivered or unanswered
   * only at their deadline. Request types that have a handler in common count as one handler. */
  unsigned window;
  /** Commands held, those whose outcome is remembered included; 100000 by default. */
  unsigned max_commands;
  /** Bytes of their texts; 256 MiB by default. */
  uint64_t max_bytes;
  /** The library's timeouts in milliseconds; 5000 and 3000 by default. */
  int connection_timeout_ms;
  int execution_timeout_ms;
  /** How far handlers may move a deadline in all, in milliseconds; not at all by default. Not used
   * with `on_extension`. */
  int64_t max_extension_ms;
  /** How long after its deadline a confirmed command is remembered, so that its uuid is not
   * accepted again and late answers are reported; in milliseconds, 1 hour by default. */
  int64_t remember_ms;
  /** Required. */
  qor_agent_outcome_cb on_outcome;
  /** NULL grants up to `max_extension_ms`. */
  qor_agent_extension_cb on_extension;
  /** NULL when installs do not matter to the program. */
  qor_handler_manager_handler_update_cb on_handler_update;
  /** NULL for no log. */
  qor_agent_log_cb on_log;
  void* user_data;
} qor_agent_settings_s;

/** Initializer of a #qor_agent_settings_s. */
#define QOR_AGENT_SETTINGS_INIT \
  { sizeof(qor_agent_settings_s), NULL, false, 0, 0, 0, 0, 0, 0, 0, NULL, NULL, NULL, NULL, NULL }

/** Opens the journal and starts the library. Outcomes that were not confirmed are reported again,
 * commands without an outcome go on.
 *
 * \param settings    copied
 * \param[out] agent  to be closed by the caller
 * \return #QOR_AGENT_ERROR_NONE, #QOR_AGENT_ERROR_INVALID_PARAMETER, #QOR_AGENT_ERROR_BUSY,
 *         #QOR_AGENT_ERROR_JOURNAL_DAMAGED, #QOR_AGENT_ERROR_JOURNAL_VERSION,
 *         #QOR_AGENT_ERROR_IO_ERROR, #QOR_AGENT_ERROR_PERMISSION_DENIED, #QOR_AGENT_ERROR_NO_SPACE,
 *         #QOR_AGENT_ERROR_READ_ONLY, #QOR_AGENT_ERROR_OUT_OF_MEMORY, #QOR_AGENT_ERROR_LIBRARY */
EXPORT_API int qor_agent_open(const qor_agent_settings_s* settings, qor_agent_h* agent);

/** Stops the library, writes the confirmations and closes the journal. Commands without an outcome
 * go on when it is opened again. Not to be called from a callback. Does nothing with NULL. */
EXPORT_API void qor_agent_close(qor_agent_h agent);

/** Submits a command. On success it is durable when the function returns, and is sent from the main
 * loop.
 *
 * \return #QOR_AGENT_ERROR_NONE, #QOR_AGENT_ERROR_ALREADY_KNOWN, #QOR_AGENT_ERROR_CONFLICT,
 *         #QOR_AGENT_ERROR_INVALID_PARAMETER, #QOR_AGENT_ERROR_INVALID_TEXT,
 *         #QOR_AGENT_ERROR_TOO_LONG, #QOR_AGENT_ERROR_DEADLINE, #QOR_AGENT_ERROR_LIMIT,
 *         #QOR_AGENT_ERROR_NO_SPACE, #QOR_AGENT_ERROR_READ_ONLY, #QOR_AGENT_ERROR_IO_ERROR,
 *         #QOR_AGENT_ERROR_OUT_OF_MEMORY */
EXPORT_API int qor_agent_submit(qor_agent_h agent, const qor_agent_command_s* command);

/** Submits several commands with one write to the disk. Each is accepted or not by itself; a
 * failure of the journal rejects all.
 *
 * \param commands      `count` of them
 * \param[out] results  `count` codes, each as of qor_agent_submit()
 * \return #QOR_AGENT_ERROR_NONE when `results` was written, #QOR_AGENT_ERROR_INVALID_PARAMETER when
 *         an argument is NULL */
EXPORT_API int qor_agent_submit_many(qor_agent_h agent, const qor_agent_command_s* commands,
                                     size_t count, int* results);

/** Confirms an outcome: it is not reported again. Durable with the next write to the journal, in
 * the next iteration of the main loop or by qor_agent_close(); until then a crash can make it come
 * again.
 *
 * \return #QOR_AGENT_ERROR_NONE, also when it was confirmed before;
 *         #QOR_AGENT_ERROR_NOT_FOUND; #QOR_AGENT_ERROR_INVALID_PARAMETER */
EXPORT_API int qor_agent_confirm(qor_agent_h agent, const char* uuid);

/** Counts the commands that have no outcome yet.
 *
 * \return the number; 0 with NULL */
EXPORT_API size_t qor_agent_pending(qor_agent_h agent);

/** Makes a random uuid.
 *
 * \param[out] uuid  36 characters and a NUL
 * \return #QOR_AGENT_ERROR_NONE, #QOR_AGENT_ERROR_INVALID_PARAMETER, #QOR_AGENT_ERROR_IO_ERROR when
 *         the system has no random numbers */
EXPORT_API int qor_agent_new_uuid(char uuid[37]);

/** Describes a code.
 *
 * \return a text that lives as long as the library; never NULL */
EXPORT_API const char* qor_agent_error_text(int error);

/* A program whose main loop is not Ecore's drives Ecore with the three functions below, in place of
 * ecore_main_loop_begin(). */

/** Returns a descriptor that is readable when qor_agent_loop_step() has something to do. It belongs
 * to the agent and stays the same while the agent is open.
 *
 * \return the descriptor; #QOR_AGENT_ERROR_INVALID_PARAMETER or #QOR_AGENT_ERROR_IO_ERROR */
EXPORT_API int qor_agent_loop_fd(qor_agent_h agent);

/** Returns after how many milliseconds qor_agent_loop_step() has to be called even when the
 * descriptor is not readable: -1 for never, 0 for at once. Ask before each wait.
 *
 * \return milliseconds */
EXPORT_API int qor_agent_loop_timeout(qor_agent_h agent);

/** Does what there is to do, without waiting. Not to be called from a callback.
 *
 * \return #QOR_AGENT_ERROR_NONE, #QOR_AGENT_ERROR_INVALID_PARAMETER, or #QOR_AGENT_ERROR_IO_ERROR
 *         when the system refuses a wait */
EXPORT_API int qor_agent_loop_step(qor_agent_h agent);

#ifdef __cplusplus
}
#endif

#endif
