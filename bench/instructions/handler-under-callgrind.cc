// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Replaces the handler of a package and runs it under callgrind, as the environment says: see
// streams.py. The platform identifies an application by its executable, so this file is first
// replaced by a copy of callgrind's.

#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>
#include <vector>

namespace {

namespace fs = std::filesystem;

std::string Variable(const char* name) {
  const char* const value = std::getenv(name);
  if (value == nullptr) throw std::runtime_error(std::string(name) + " is not set");
  return value;
}

void ReplaceBy(const fs::path& tool, const fs::path& self) {
  const fs::path copy = self.string() + ".copy";
  fs::copy_file(tool, copy);
  fs::rename(copy, self);
}

void Run() {
  const fs::path folder = Variable("QOR_STREAMS_FOLDER");
  const fs::path tool = Variable("QOR_STREAMS_TOOL");
  const fs::path self = fs::read_symlink("/proc/self/exe");
  std::ofstream(folder / "handler.pid") << getpid() << '\n';
  ReplaceBy(tool, self);
  // Required by valgrind's tools.
  setenv("VALGRIND_LAUNCHER", "/usr/bin/valgrind", 1);
  setenv("VALGRIND_LIB", tool.parent_path().c_str(), 1);

  std::vector<std::string> texts{self};
  std::istringstream options(Variable("QOR_STREAMS_OPTIONS"));
  for (std::string option; options >> option;) texts.push_back(option);
  texts.push_back("--callgrind-out-file=" + (folder / "handler.callgrind").string());
  texts.push_back(Variable("QOR_STREAMS_HANDLER"));
  std::vector<char*> arguments;
  for (std::string& text : texts) arguments.push_back(text.data());
  arguments.push_back(nullptr);
  execv(self.c_str(), arguments.data());
  throw std::runtime_error("cannot execute callgrind");
}

}  // namespace

int main() {
  try {
    Run();
  } catch (const std::exception& error) {
    std::fprintf(stderr, "handler-under-callgrind: %s\n", error.what());
  }
  return 1;
}
