// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include <unistd.h>
#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <functional>
#include <iostream>
#include <map>
#include <memory>
#include <string>
#include <system_error>
#include <utility>
#include <vector>

#include "qor/commands/commands.h"
#include "qor/commands/recorded-run.h"
#include "qor/output/exit-codes.h"
#include "qor/output/tool-error.h"
#include "record/event-reader.h"
#include "record/record.h"
#include "record/writers.h"
#include "text/printable.h"

namespace tools::cli {

namespace {

namespace fs = std::filesystem;

using Writers = std::map<std::string, std::function<void(const record::Record&, std::ostream&)>>;

const Writers& TheWriters() {
  static const Writers writers = {{"text", record::WriteText},
                                  {"json", record::WriteJson},
                                  {"trace", record::WriteTrace},
                                  {"html", record::WriteHtml}};
  return writers;
}

struct Options {
  std::string format = "text";
  // Empty for none.
  std::string output;
  std::string from;
  std::vector<std::string> words;
};

std::string LastError() { return std::generic_category().message(errno); }

// Where the recorder of a running program writes; removed at the end.
class TemporaryFile {
 public:
  TemporaryFile() : path_(fs::temp_directory_path() / "qor-record-XXXXXX") {
    const int file = mkstemp(path_.data());
    if (file < 0) throw ToolError(kError, "cannot record: " + LastError(), "", {path_, 0, ""});
    close(file);
  }
  TemporaryFile(const TemporaryFile&) = delete;
  TemporaryFile& operator=(const TemporaryFile&) = delete;
  ~TemporaryFile() {
    std::error_code ignored;
    fs::remove(path_, ignored);
  }

  const std::string& Path() const { return path_; }

 private:
  std::string path_;
};

// Lines that cannot be used are told and left out.
record::Record ReadRecord(const std::string& path, const std::string& name) {
  if (fs::is_directory(path)) throw ToolError(kError, "is a folder", "", {name, 0, ""});
  std::ifstream file(path);
  if (!file) throw ToolError(kError, "cannot be read: " + LastError(), "", {name, 0, ""});
  record::ReadEvents read = record::ReadJsonLines(file);
  for (const record::BadLine& line : read.bad_lines) {
    std::cerr << "qor: " << text::Printable(name) << ":" << line.number
              << ": left out: " << text::Printable(line.reason) << "\n";
  }
  return record::MakeRecord(std::move(read.events));
}

// Opened before anything is run, so that nothing is recorded in vain.
class Output {
 public:
  Output(const std::string& path, std::ostream& otherwise) : path_(path), stream_(otherwise) {
    if (path.empty()) return;
    file_.open(path, std::ios::binary | std::ios::trunc);
    Check(file_);
  }

  void Write(const Options& options, const record::Record& record) {
    std::ostream& out = path_.empty() ? stream_ : file_;
    TheWriters().at(options.format)(record, out);
    out.flush();
    Check(out);
  }

 private:
  void Check(const std::ostream& stream) const {
    if (stream) return;
    throw ToolError(kError, "cannot be written: " + LastError(), "",
                    {path_.empty() ? "output" : path_, 0, ""});
  }

  std::string path_;
  std::ostream& stream_;
  std::ofstream file_;
};

int Convert(const Options& options) {
  const record::Record record = ReadRecord(options.from, options.from);
  if (record.events.empty()) {
    throw ToolError(kError, "no event in it",
                    "Name a file that qor record --format json has written.",
                    {options.from, 0, ""});
  }
  Output(options.output, std::cout).Write(options, record);
  return kSuccess;
}

int RunAndRecord(const Options& options) {
  const TemporaryFile file;
  // The standard output is the program's.
  Output output(options.output, std::cerr);
  const int status = RunRecorded(options.words, file.Path());
  const record::Record record = ReadRecord(file.Path(), file.Path());
  if (record.events.empty()) {
    std::cerr << "qor: " << text::Printable(options.words[0])
              << " has not used the library: nothing is recorded. Programs that are linked with it "
                 "can be recorded.\n";
  }
  output.Write(options, record);
  return status;
}

int DoRecord(const Options& options) {
  if (options.from.empty() == options.words.empty()) {
    throw ToolError(kUsage, "a program to run or a stored record is needed, one of them",
                    "qor record -- PROGRAM [ARGUMENT...], or qor record --from FILE");
  }
  return options.from.empty() ? RunAndRecord(options) : Convert(options);
}

std::vector<std::string> Formats() {
  std::vector<std::string> names;
  for (const auto& writer : TheWriters()) names.push_back(writer.first);
  return names;
}

}  // namespace

void AddRecordCommand(CLI::App& app, Choice& choice) {
  const auto options = std::make_shared<Options>();
  CLI::App* record = app.add_subcommand(
      "record", "Run an agent and show what became of every command that it sent");
  record->footer(
      "Example:\n"
      "  qor record --format html -o record.html -- qor send text.upper '\"hello\"'");
  record->add_option("--format", options->format, "text, json (lines), trace or html")
      ->check(CLI::IsMember(Formats()))
      ->capture_default_str();
  record->add_option("-o,--output", options->output,
                     "File to write to (default: standard error; with --from standard output)");
  record->add_option("--from", options->from, "Convert a record stored with --format json");
  record->add_option("PROGRAM", options->words,
                     "Program and arguments, after --; its exit status becomes this tool's");
  record->callback([options, &choice] { choice.run = [options] { return DoRecord(*options); }; });
}

}  // namespace tools::cli
