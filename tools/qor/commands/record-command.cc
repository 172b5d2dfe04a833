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

const Writers& AllWriters() {
  static const Writers writers = {{"text", record::WriteText},
                                  {"json", record::WriteJson},
                                  {"trace", record::WriteTrace},
                                  {"html", record::WriteHtml}};
  return writers;
}

struct Options {
  std::string format = "text";
  std::string output;                  // empty for a standard stream
  std::string from;                    // empty to run a program
  std::vector<std::string> arguments;  // of the program, which comes first
};

std::string LastError() { return std::generic_category().message(errno); }

// Receives the events of the recorder; removed by the destructor.
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

// Reports invalid lines on standard error and skips them.
record::Record ReadRecord(const std::string& path, const std::string& name) {
  if (fs::is_directory(path))
    throw ToolError(kError, "cannot read the record: is a folder", "", {name, 0, ""});
  std::ifstream file(path);
  if (!file) throw ToolError(kError, "cannot read the record: " + LastError(), "", {name, 0, ""});
  record::ReadEvents read = record::ReadJsonLines(file);
  for (const record::BadLine& line : read.bad_lines) {
    std::cerr << "qor: " << text::Printable(name) << ":" << line.number
              << ": skipped: " << text::Printable(line.reason) << "\n";
  }
  return record::MakeRecord(std::move(read.events));
}

// Opens the file before the program is run, so that no record is lost for lack of a file.
class Output {
 public:
  Output(const std::string& path, std::ostream& default_stream)
      : path_(path), stream_(default_stream) {
    if (path.empty()) return;
    file_.open(path, std::ios::binary | std::ios::trunc);
    Check(file_);
  }

  void Write(const Options& options, const record::Record& record) {
    std::ostream& out = path_.empty() ? stream_ : file_;
    AllWriters().at(options.format)(record, out);
    out.flush();
    Check(out);
  }

 private:
  void Check(const std::ostream& stream) const {
    if (stream) return;
    throw ToolError(kError, "cannot write the record: " + LastError(), "",
                    {path_.empty() ? "output" : path_, 0, ""});
  }

  std::string path_;
  std::ostream& stream_;
  std::ofstream file_;
};

int Convert(const Options& options) {
  const record::Record record = ReadRecord(options.from, options.from);
  if (record.events.empty()) {
    throw ToolError(kError, "no events", "pass a file written by \"qor record --format json\"",
                    {options.from, 0, ""});
  }
  Output(options.output, std::cout).Write(options, record);
  return kSuccess;
}

int RunAndRecord(const Options& options) {
  const TemporaryFile file;
  // Standard output belongs to the program.
  Output output(options.output, std::cerr);
  const int status = RunRecorded(options.arguments, file.Path());
  const record::Record record = ReadRecord(file.Path(), file.Path());
  if (record.events.empty()) {
    std::cerr
        << "qor: " << text::Printable(options.arguments[0])
        << " did not call the library: nothing recorded (the program must be linked with it)\n";
  }
  output.Write(options, record);
  return status;
}

int RunRecord(const Options& options) {
  if (options.from.empty() == options.arguments.empty()) {
    throw ToolError(kUsage, "expected either a program or --from",
                    "qor record -- PROGRAM [ARGUMENT...], or qor record --from FILE");
  }
  return options.from.empty() ? RunAndRecord(options) : Convert(options);
}

std::vector<std::string> Formats() {
  std::vector<std::string> names;
  for (const auto& writer : AllWriters()) names.push_back(writer.first);
  return names;
}

}  // namespace

void AddRecordCommand(CLI::App& app, SelectedCommand& selected) {
  const auto options = std::make_shared<Options>();
  CLI::App* record = app.add_subcommand("record", "run an agent and record its commands");
  record->footer(
      "Example:\n"
      "  qor record --format html -o record.html -- qor send text.upper '\"hello\"'");
  record->add_option("--format", options->format, "text, json (JSON Lines), trace or html")
      ->check(CLI::IsMember(Formats()))
      ->capture_default_str();
  record->add_option("-o,--output", options->output,
                     "output file (default: standard error; with --from standard output)");
  record->add_option("--from", options->from,
                     "convert a record that was written with --format json");
  record->add_option("PROGRAM", options->arguments,
                     "program and arguments, after --; its exit status is returned");
  record->callback(
      [options, &selected] { selected.run = [options] { return RunRecord(*options); }; });
}

}  // namespace tools::cli
