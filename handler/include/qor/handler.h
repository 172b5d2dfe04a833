// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_H_
#define QOR_HANDLER_H_

/// \file
/// The SDK for handler applications: register a function for each request type, then run.
///
/// \code
///   #include <qor/handler.h>
///
///   int main(int argc, char** argv) {
///     qor::Handler handler;
///     handler.On("greet", [](qor::Command command) { command.Succeed(R"({"text":"hello"})"); });
///     return handler.Run(argc, argv);
///   }
/// \endcode
///
/// The application's manifest requests the privileges http://tizen.org/privilege/appmanager.launch
/// and http://tizen.org/privilege/datasharing and names the file that lists the request types.
///
/// \par Threads
/// The functions of all request types are called on the main loop's thread, one at a time. A
/// function that blocks also blocks all other commands: do long work in a thread or in timers, with
/// a copy of the command.
///
/// \par Errors
/// Functions report errors by their return value and in the log, under the tag QOR-HANDLER. Only
/// running out of memory is an exception.
///
/// \par Requirements
/// Version 5.0 of the platform or later.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// Marks the exported classes.
#define QOR_HANDLER_API __attribute__((visibility("default")))

/// The SDK for handler applications.
namespace qor {

/// \cond
namespace internal {
class CommandState;
class Dispatcher;
}  // namespace internal
/// \endcond

/// Errors that the SDK reports to the agent, as the "ErrorCode" of the error text
/// {"ErrorCode":...,"ErrorDomain":"QOR-HANDLER","ErrorDescription":"..."}.
enum class ErrorCode {
  /// The function threw before the command was answered. The description is the exception's text.
  kFunctionThrew = 3001,
  /// No function is registered for the request type.
  kNoFunction = 3002,
  /// The last handle of the command was destroyed before the command was answered.
  kDropped = 3003,
  /// The process ended while the at-most-once command was in flight: its effect is unknown.
  kInterrupted = 3004,
  /// The process ended three times while the command was in flight.
  kCrashed = 3005,
  /// The answer is longer than the agent can receive, see Command::Succeed().
  kAnswerTooLong = 3006,
  /// The at-most-once command was not run because it could not be recorded: the file is full of
  /// recent commands, locked or cannot be written.
  kNotRecorded = 3007,
};

/// What happens to a command that is redelivered after the process ended while it was in flight.
enum class Policy {
  /// Its function is called again.
  kAtLeastOnce,
  /// Its function is not called again: the command is resumed, or fails with
  /// ErrorCode::kInterrupted. That it was begun is on the disk before the function is called, and
  /// survives a power failure.
  kAtMostOnce,
};

/// A handle of one command, cheap to copy. All copies refer to the same command.
///
/// A command is answered exactly once, by the first Succeed() or Fail(). When the last handle is
/// destroyed first, the agent gets the error ErrorCode::kDropped. To leave a command to the agent's
/// timeout, keep a handle.
///
/// Thread-safe: every function may be called from any thread, on copies and on the same handle.
/// Assigning to a handle or moving from it needs external synchronization. A handle may outlive the
/// Handler.
class QOR_HANDLER_API Command {
 public:
  /// Creates another handle of the same command.
  Command(const Command&);
  /// Takes over the command. The other handle may then only be assigned to or destroyed.
  Command(Command&&) noexcept;
  /// Refers to the other handle's command from now on.
  /// \return this handle
  Command& operator=(const Command&);
  /// Takes over the command. The other handle may then only be assigned to or destroyed.
  /// \return this handle
  Command& operator=(Command&&) noexcept;
  ~Command();

  /// \return the uuid that the agent gave the command. This and the other references are valid as
  ///         long as any handle of the command exists
  const std::string& Uuid() const;
  /// \return the request type
  const std::string& Type() const;
  /// \return the payload, a JSON text; empty when the agent sent none
  const std::string& Payload() const;
  /// \return the timestamp that the agent gave the command, by convention in seconds since the
  /// epoch
  std::int64_t Time() const;
  /// \return the agent's application id
  const std::string& Agent() const;

  /// Completes the command with its result.
  ///
  /// On the main loop's thread the answer is stored and sent before the call returns; on other
  /// threads it is stored and sent by a later iteration of the main loop. While the agent is not
  /// connected the answer is kept, and sent when the agent connects again.
  ///
  /// \param result_json  a JSON text of at most 4000000 bytes; not checked. A longer one fails the
  ///                     command with ErrorCode::kAnswerTooLong
  /// \return true for the first answer. False, with a log line, for any later one, for one that is
  ///         too long and when the application is terminating
  bool Succeed(const std::string& result_json) const;
  /// Completes the command with an error, otherwise as Succeed().
  ///
  /// \param error_json  a JSON text; not checked
  /// \return as Succeed()
  bool Fail(const std::string& error_json) const;

  /// Leaves the command open beyond the end of the process, for example for a reboot. It is neither
  /// answered nor dropped; when the agent delivers it again, the function that
  /// Handler::OnResume() registered is called with it. Blocks like AskForSeconds() on other
  /// threads.
  ///
  /// \param state  what the function needs to go on, returned by State(); any bytes
  /// \return whether the state is on the disk, where it survives a power failure. False, with a log
  ///         line, for an answered command, without a usable file and when the application is
  ///         terminating: the command then stays as it was
  bool Suspend(const std::string& state) const;
  /// \return the state of a resumed command; empty for others
  const std::string& State() const;

  /// Requests an extension of the command's timeout from the agent.
  ///
  /// Blocks until the agent replies, about 10 s at most. Another thread first waits for the main
  /// loop: do not call this from a thread that the main loop's thread is waiting for.
  ///
  /// \param seconds  the requested time, counted from now
  /// \return whether the agent grants the extension. False, without asking the agent, when
  ///         `seconds` is not positive and finite, the command has been answered, the agent is not
  ///         connected, or the application is terminating
  bool AskForSeconds(double seconds) const;

 private:
  friend class internal::Dispatcher;
  explicit Command(std::shared_ptr<internal::CommandState> state);

  std::shared_ptr<internal::CommandState> state_;
};

/// Limits of the stored answers; beyond any of them the oldest are deleted. Those of at-most-once
/// commands have no limit of age, so that setting the clock runs none again, and are kept for an
/// hour at least: when they reach `count` or three quarters of `bytes`, new at-most-once commands
/// fail with ErrorCode::kNotRecorded. A count of 0 stores none, neither on file nor in memory: a
/// command that is redelivered after its answer then runs again, and at-most-once commands are not
/// run.
struct AnswerLimits {
  /// Number of answers.
  std::size_t count = 1000;
  /// Age of an answer.
  std::chrono::seconds age = std::chrono::hours(7 * 24);
  /// Size of the file in bytes. An answer larger than this is not stored.
  std::size_t bytes = std::size_t{16} << 20;
};

/// The handler application. Create one per process, and call its functions on one thread.
///
/// \par Connections
/// The handler opens one connection to each agent that launches it. When a connection closes while
/// commands of the agent are in flight or answers to it are pending, the handler reconnects after
/// 0.2 s and then with delays that double up to 30 s, until the agent acknowledges an answer; after
/// the longest delay it goes on only while answers are pending. Pending answers are sent as soon as
/// the connection is open, at most 1000 for each agent; beyond that the oldest is dropped. An agent
/// with new commands launches the handler again, which reconnects at once.
///
/// \par At most one run
/// A command (identified by agent, uuid, type and payload) that is redelivered while in flight is
/// ignored. One that has been answered gets the same answer again. For this the answers are stored
/// in a SQLite file in the application's data folder, across restarts of handler and agent. A
/// redelivered command runs again only when the process died while it was in flight, or when its
/// answer is no longer stored; with Policy::kAtMostOnce never. A command during which the process
/// died is run again only while no other such command is in flight, and fails with
/// ErrorCode::kCrashed after the third time, so that the others can be completed.
///
/// \par Durability
/// An answer is stored before it is sent. It survives a crash of the process; a power failure may
/// lose the most recent ones, except those of at-most-once commands.
///
/// \par File errors
/// An unusable file is logged and never stops the handler. A damaged or foreign file and a symbolic
/// link are renamed to "*.corrupt" and replaced by a new file; when that fails too, the answers are
/// kept in memory, and the next command tries the file again. While another process
/// locks the file, answers are not stored; the handler waits for the lock once, for one second.
class QOR_HANDLER_API Handler {
 public:
  /// Serves one command. Called on the main loop's thread; may return before the command is
  /// answered. An exception fails the command with ErrorCode::kFunctionThrew unless it has been
  /// answered.
  using Function = std::function<void(Command)>;

  /// Creates a handler without functions. Connects to nothing yet.
  Handler();
  Handler(const Handler&) = delete;
  Handler& operator=(const Handler&) = delete;
  ~Handler();

  /// Registers the function of a request type, replacing an earlier one. Call before Run().
  ///
  /// \param request_type  as in the package's list of request types
  /// \param function      called for each command of the type; the handler keeps a copy until it is
  ///                      destroyed
  /// \return this handler
  Handler& On(const std::string& request_type, Function function);
  /// As above, with a policy; the other function registers Policy::kAtLeastOnce.
  ///
  /// \param request_type  as in the package's list of request types
  /// \param function      called for each command of the type
  /// \param policy        whether a command runs again after the process ended in its work
  /// \return this handler
  Handler& On(const std::string& request_type, Function function, Policy policy);
  /// Registers the function that goes on with suspended commands of a request type, replacing an
  /// earlier one. Without one a suspended command runs anew, or fails with ErrorCode::kInterrupted
  /// when it is at-most-once. Call before Run().
  ///
  /// \param request_type  one that On() registers
  /// \param function      called for each command that is delivered again after Command::Suspend()
  /// \return this handler
  Handler& OnResume(const std::string& request_type, Function function);
  /// Connects to this agent at the start, whichever agent launches the handler, and always
  /// reconnects to it. Call before Run().
  ///
  /// \param app_id  the agent's application id
  /// \return this handler
  Handler& SetAgent(const std::string& app_id);
  /// Sets the limits of the stored answers. Call before Run().
  ///
  /// \param limits  number, age and bytes
  /// \return this handler
  Handler& KeepAnswers(const AnswerLimits& limits);

  /// Runs the application's main loop until the platform or service_app_exit() terminates it. Call
  /// on the main thread.
  ///
  /// \param argc  as passed to main()
  /// \param argv  as passed to main()
  /// \return 0, or a negative platform error (app_error_e) when the application cannot run, for
  ///         example because the platform did not launch it; the log has the reason
  int Run(int argc, char** argv);

 private:
  struct Settings;
  std::unique_ptr<Settings> settings_;
};

}  // namespace qor

#endif
