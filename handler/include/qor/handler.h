// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_HANDLER_H_
#define QOR_HANDLER_H_

/// \file
/// For the author of a handler application: name a function for each request type, run.
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
/// The application's manifest holds the privileges http://tizen.org/privilege/appmanager.launch and
/// http://tizen.org/privilege/datasharing and names the file that lists the request types.
///
/// Everything runs on the main loop: the functions are called there one after the other, and none
/// is called while another has not returned. Work that takes long belongs into a thread, a timer or
/// the like, with a copy of the command.
///
/// Needs version 5.0 of the platform or later.

#include <chrono>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <string>

/// Marks what the library shows.
#define QOR_HANDLER_API __attribute__((visibility("default")))

/// The SDK for handler applications.
namespace qor {

/// \cond
namespace internal {
class CommandState;
class Dispatcher;
}  // namespace internal
/// \endcond

/// The errors that the agent gets without the handler's doing, as the "ErrorCode" of the error text
/// {"ErrorCode":...,"ErrorDomain":"QOR-HANDLER","ErrorDescription":"..."}.
enum class ErrorCode {
  /// The function threw before anybody answered. The description is the exception's text.
  kFunctionThrew = 3001,
  /// No function was named for the request type.
  kNoFunction = 3002,
  /// The last handle of the command went away and nobody had answered.
  kDropped = 3003,
};

/// One command of an agent: a handle, cheap to copy. All copies stand for the same command, and
/// each may be used from any thread.
///
/// A command is answered once. When the last handle goes away before, the agent gets the error
/// ErrorCode::kDropped. Who wants to leave a command to the agent's time limit keeps a handle.
class QOR_HANDLER_API Command {
 public:
  /// Another handle of the same command.
  Command(const Command&);
  /// Takes the other's place; the other may only be assigned to.
  Command(Command&&) noexcept;
  /// Stands for the other's command from now on.
  /// \return the handle itself
  Command& operator=(const Command&);
  /// Takes the other's place; the other may only be assigned to.
  /// \return the handle itself
  Command& operator=(Command&&) noexcept;
  ~Command();

  /// \return the command's uuid; like all texts here it lives as long as any handle of the command
  const std::string& Uuid() const;
  /// \return the request type
  const std::string& Type() const;
  /// \return a JSON text; empty when the agent sent none
  const std::string& Payload() const;
  /// \return the time that the agent gave the command, in seconds since the epoch by convention
  std::int64_t Time() const;
  /// \return the agent's application id
  const std::string& Agent() const;

  /// Ends the command with its result.
  ///
  /// On the main loop's thread the answer is handed over before the call returns, elsewhere soon
  /// after. An answer that the agent cannot take now is kept and handed over when it is back.
  ///
  /// \param result_json  a JSON text
  /// \return whether this was the first answer; a later one changes nothing and is logged. False
  ///         too when Run() has ended
  bool Succeed(const std::string& result_json) const;
  /// Ends the command with an error. In all else as Succeed().
  ///
  /// \param error_json  a JSON text
  /// \return as Succeed()
  bool Fail(const std::string& error_json) const;

  /// Asks the agent to wait longer.
  ///
  /// Waits for the agent's word, about 10 s at most. From another thread it waits for the main loop
  /// first: do not call it from a thread that the main loop's thread is waiting for.
  ///
  /// \param seconds  how many, counted from now
  /// \return whether the agent grants them. False, without asking, for a number that is not
  ///         positive and finite, for a command that has been answered and while there is no
  ///         connection
  bool AskForSeconds(double seconds) const;

 private:
  friend class internal::Dispatcher;
  explicit Command(std::shared_ptr<internal::CommandState> state);

  std::shared_ptr<internal::CommandState> state_;
};

/// What is kept of the answers. The oldest go first. A count of 0 keeps none, on file or elsewhere:
/// a command that is delivered again after its answer then runs again.
struct AnswerLimits {
  /// Number of answers.
  std::size_t count = 1000;
  /// Age of the oldest.
  std::chrono::seconds age = std::chrono::hours(7 * 24);
  /// Size of the file. An answer that does not fit into it is not kept.
  std::size_t bytes = std::size_t{16} << 20;
};

/// The handler application. One at a time in a process; everything but the functions of commands is
/// called on one thread.
///
/// Connections. The handler connects to whoever launches it to fetch commands, one connection for
/// each agent. When a connection ends while commands of that agent are in work or answers wait, it
/// connects again, first after 0.2 s and then after delays that double up to 30 s; answers that
/// wait are handed over then. After the longest delay it goes on only as long as answers wait. An
/// agent that has commands launches the handler again anyway, which makes it connect at once.
///
/// Never twice. The same command (same agent, uuid, type and payload) that is delivered again while
/// it is in work is ignored, and one that has been answered gets the same answer again. For this
/// the answers are kept in a file in the application's data folder, across restarts of the handler
/// and of the agent. An answer is on file before it is sent; it outlives the end of the process,
/// though perhaps not a loss of power. A command that was in work when the process ended runs anew
/// when the agent delivers it again. A file that cannot be used is logged and the handler goes on
/// without: a damaged one, one of another program and a symbolic link are set aside (".corrupt"
/// added to the name) and begun anew, and without a file the answers are kept in memory. While
/// another process locks the file, answers are not kept; the handler waits a second for it, once.
class QOR_HANDLER_API Handler {
 public:
  /// Called on the main loop's thread. What it throws becomes the command's error.
  using Function = std::function<void(Command)>;

  Handler();
  Handler(const Handler&) = delete;
  Handler& operator=(const Handler&) = delete;
  ~Handler();

  /// Names the function of a request type, in place of an earlier one. Before Run().
  ///
  /// \param request_type  as the file in the package lists it
  /// \param function      what to call for each command of the type
  /// \return the handler itself
  Handler& On(const std::string& request_type, Function function);
  /// Connects to this agent from the start and as long as Run() lasts, whoever launches the
  /// handler. Before Run().
  ///
  /// \param app_id  the agent's application id
  /// \return the handler itself
  Handler& SetAgent(const std::string& app_id);
  /// Keeps more or fewer answers. Before Run().
  ///
  /// \param limits  how many, how long, how large
  /// \return the handler itself
  Handler& KeepAnswers(const AnswerLimits& limits);

  /// Runs the application until the platform ends it, or service_app_exit().
  ///
  /// \param argc  main()'s
  /// \param argv  main()'s
  /// \return 0, or a negative platform error (app_error_e) when the application cannot run, for
  ///         example because it was not launched by the platform; the log says why
  int Run(int argc, char** argv);

 private:
  struct Settings;
  std::unique_ptr<Settings> settings_;
};

}  // namespace qor

#endif
