// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// An agent's journal, as found at start: arbitrary bytes, or a valid journal whose rows and bytes
// are changed. Opening it gives a documented error or a journal that an agent can work with.

#include "journal.h"

#include <filesystem>
#include <fstream>
#include <iterator>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "error.h"
#include "input.h"
#include "scheduler.h"
#include "sqlite/database.h"
#include "target.h"

namespace {

using namespace qor::agent;

constexpr char kFile[] = "journal.db";
constexpr std::int64_t kDayMs = 86'400'000;

class FixedClock final : public Clock {
 public:
  WallMs Wall() const override { return 1'700'000'000'000 + since_boot; }
  BootMs SinceBoot() const override { return since_boot; }
  std::string BootId() const override { return "boot"; }

  BootMs since_boot = 10'000;
};

// Delivers every command; no handler answers.
class SilentRouter final : public Router {
 public:
  int Send(const Command&) override { return 0; }
  std::vector<std::vector<std::string>> RequestTypesOfHandlers() const override {
    return {{"type"}};
  }
};

void RemoveJournal() {
  for (const char* part : {"", "-wal", "-shm", "-journal"})
    std::filesystem::remove(fuzz::ScratchFolder() + '/' + kFile + part);
}

std::string ReadJournal() {
  std::ifstream file(fuzz::ScratchFolder() + '/' + kFile, std::ios::binary);
  return {std::istreambuf_iterator<char>(file), {}};
}

// Writes a journal with a command in each state. Returns its bytes.
std::string ValidJournal() {
  const FixedClock clock;
  std::vector<Command> commands(4);
  std::vector<const Command*> rows;
  for (std::size_t i = 0; i < commands.size(); ++i) {
    Command& command = commands[i];
    command.sequence = static_cast<std::int64_t>(i) + 1;
    command.uuid = std::to_string(i);
    command.type = "type";
    command.payload = "{}";
    command.deadline_wall = clock.Wall() + 60'000;
    command.deadline = clock.SinceBoot() + 60'000;
    command.state = static_cast<State>(i);
    rows.push_back(&command);
  }
  // SQLite moves its log into the file when it is closed.
  Journal(fuzz::WriteFile(kFile, ""), clock).Write(rows, {});
  return ReadJournal();
}

// Changes values of the valid journal as the input says.
void ChangeRows(fuzz::Input& input) {
  static const char* const columns[] = {
      "sequence", "uuid",          "type",          "payload",  "timestamp", "policy",
      "waits",    "deadline_wall", "deadline_boot", "extended", "state",     "kind",
      "reason",   "status",        "result",        "error",    "amendment"};
  static const char* const values[] = {"-1",
                                       "0",
                                       "1",
                                       "2",
                                       "9223372036854775807",
                                       "-9223372036854775808",
                                       "4611686018427387904",
                                       "1e300",
                                       "'0'",
                                       "'1'",
                                       "''",
                                       "x'ff00'",
                                       "zeroblob(100000)"};
  sqlite::Database database(fuzz::ScratchFolder() + '/' + kFile, sqlite::Database::Mode::kExisting);
  for (std::size_t changes = input.Below(8); changes > 0; --changes) {
    const std::string column = columns[input.Below(std::size(columns))];
    const std::string value = values[input.Below(std::size(values))];
    const std::string uuid = std::to_string(input.Below(4));
    try {
      database.Execute(("UPDATE OR IGNORE commands SET " + column + " = " + value +
                        " WHERE uuid = '" + uuid + "'")
                           .c_str());
    } catch (const sqlite::DatabaseError&) {
      // SQLite keeps texts out of the primary key.
    }
  }
}

void ChangeBytes(fuzz::Input& input) {
  std::string bytes = ReadJournal();
  while (!input.IsOver() && !bytes.empty()) {
    const std::size_t offset = input.Below(bytes.size());
    bytes[offset] = static_cast<char>(input.Byte());
  }
  fuzz::WriteFile(kFile, bytes);
}

bool IsDocumented(int code) {
  static const std::set<int> codes = {
      QOR_AGENT_ERROR_JOURNAL_DAMAGED, QOR_AGENT_ERROR_JOURNAL_VERSION, QOR_AGENT_ERROR_IO_ERROR,
      QOR_AGENT_ERROR_NO_SPACE,        QOR_AGENT_ERROR_OUT_OF_MEMORY,   QOR_AGENT_ERROR_READ_ONLY};
  return codes.count(code) != 0;
}

// Opens the journal and works with it.
void Work(FixedClock& clock) {
  Journal journal(fuzz::ScratchFolder() + '/' + kFile, clock);
  SilentRouter router;
  Scheduler::Observer observer;
  std::vector<std::string> reported;
  observer.on_outcome = [&](const Command& command) { reported.push_back(command.uuid); };
  Scheduler scheduler(Scheduler::Limits(), clock, router, &journal, observer);
  std::set<std::string> known;
  journal.Load([&](Command command) {
    known.insert(command.uuid);
    scheduler.Restore(std::move(command));
  });
  scheduler.OnHandlersChanged();
  scheduler.Run();
  Command command;
  command.uuid = "new";
  command.type = "type";
  command.deadline_wall = clock.Wall() + 1000;
  const int result = scheduler.Submit({command}).front();
  if (result == QOR_AGENT_ERROR_NONE) known.insert("new");
  for (const std::string& uuid : known) {
    scheduler.OnResponse(uuid, 0, "{}", "");
    scheduler.OnExtensionRequest("handler", uuid, 1);
  }
  clock.since_boot += kDayMs;
  scheduler.Run();
  for (const std::string& uuid : reported) scheduler.Confirm(uuid);
  scheduler.Run();
  scheduler.NextRun();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  fuzz::Input input(data, size);
  RemoveJournal();
  if (input.Byte() % 2 == 0) {
    fuzz::WriteFile(kFile, input.Rest());
  } else {
    static const std::string valid = ValidJournal();
    fuzz::WriteFile(kFile, valid);
    ChangeRows(input);
    ChangeBytes(input);
  }
  FixedClock clock;
  try {
    Work(clock);
    // What it has written can be read.
    Work(clock);
  } catch (const Error& error) {
    fuzz::Require(IsDocumented(error.code()), "the error is documented");
    fuzz::Require(*error.what() != '\0', "an error has a text");
  }
  return 0;
}
