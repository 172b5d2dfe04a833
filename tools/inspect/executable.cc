// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "inspect/executable.h"

#include <dlfcn.h>
#include <elf.h>
#include <fcntl.h>
#include <link.h>
#include <spawn.h>
#include <sys/auxv.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <sstream>
#include <vector>

#include "platform/linux/common/unix-socket.h"

namespace tools::inspect {

namespace {

// Reads the object at the offset. Returns false at the end of the file.
template <typename Type>
bool Read(std::istream& file, std::streamoff offset, Type* object) {
  return static_cast<bool>(
      file.seekg(offset).read(reinterpret_cast<char*>(object), sizeof *object));
}

// Whether the program is for the machine that this program is for.
bool IsForThisMachine(const ElfW(Ehdr) & header) {
  ElfW(Ehdr) own{};
  std::ifstream file("/proc/self/exe", std::ios::binary);
  return Read(file, 0, &own) && std::memcmp(header.e_ident, own.e_ident, EI_VERSION) == 0 &&
         header.e_machine == own.e_machine;
}

// Returns the dynamic loader that a program names; empty for a static program.
std::string LoaderOf(std::istream& file, const ElfW(Ehdr) & header) {
  for (unsigned i = 0; i < header.e_phnum; ++i) {
    ElfW(Phdr) part{};
    const auto offset = static_cast<std::streamoff>(header.e_phoff + i * sizeof part);
    if (!Read(file, offset, &part) || part.p_type != PT_INTERP) continue;
    std::string path;
    std::getline(file.seekg(static_cast<std::streamoff>(part.p_offset)), path, '\0');
    return path;
  }
  return {};
}

std::string OwnLoader() {
  Dl_info info{};
  const auto base = reinterpret_cast<const void*>(getauxval(AT_BASE));
  return base != nullptr && dladdr(base, &info) != 0 ? info.dli_fname : std::string();
}

std::string ReadAll(int fd) {
  std::string text;
  char part[4096];
  for (;;) {
    const ssize_t count = read(fd, part, sizeof part);
    if (count < 0 && errno == EINTR) continue;
    if (count <= 0) return text;
    text.append(part, static_cast<size_t>(count));
  }
}

// Returns the loader's list of the libraries of a program; empty when it cannot be run.
std::string ListLibraries(const std::string& loader, const std::string& path) {
  int ends[2];
  if (pipe2(ends, O_CLOEXEC) != 0) return {};
  const platform::UniqueFd output(ends[0]);
  platform::UniqueFd input(ends[1]);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, input.Get(), STDOUT_FILENO);
  posix_spawn_file_actions_addopen(&actions, STDERR_FILENO, "/dev/null", O_WRONLY, 0);
  std::string name = loader;
  std::string program = path;
  std::string mode = "LD_TRACE_LOADED_OBJECTS=1";
  char* arguments[] = {name.data(), program.data(), nullptr};
  std::vector<char*> environment = {mode.data()};
  for (char** variable = environ; *variable != nullptr; ++variable)
    environment.push_back(*variable);
  environment.push_back(nullptr);
  pid_t pid = -1;
  const int result =
      posix_spawn(&pid, loader.c_str(), &actions, nullptr, arguments, environment.data());
  posix_spawn_file_actions_destroy(&actions);
  input.Reset();
  if (result != 0) return {};
  std::string list = ReadAll(output.Get());
  while (waitpid(pid, nullptr, 0) < 0 && errno == EINTR) continue;
  return list;
}

// Returns the names, separated by commas.
std::string FindMissingLibraries(const std::string& loader, const std::string& path) {
  std::istringstream list(ListLibraries(loader, path));
  std::string names;
  for (std::string line; std::getline(list, line);) {
    const std::size_t end = line.find(" => not found");
    if (end == std::string::npos) continue;
    const std::size_t begin = line.find_first_not_of('\t');
    names += (names.empty() ? "" : ", ") + line.substr(begin, end - begin);
  }
  return names;
}

}  // namespace

std::optional<Finding> FindExecutableProblem(const std::string& path) {
  std::ifstream file(path, std::ios::binary);
  if (!file) return std::nullopt;
  char mark[2] = {};
  if (Read(file, 0, &mark) && mark[0] == '#' && mark[1] == '!') {
    return Finding{"cannot be launched: executable is a script",
                   "build a program: a process is identified by the file that it executes"};
  }
  ElfW(Ehdr) header{};
  if (!Read(file, 0, &header) || !IsForThisMachine(header)) {
    return Finding{"cannot be launched: executable is not a program for this machine",
                   "build it for this machine"};
  }
  const std::string loader = LoaderOf(file, header);
  if (loader.empty()) return std::nullopt;
  if (access(loader.c_str(), X_OK) != 0)
    return Finding{"cannot be launched: missing dynamic loader " + loader,
                   "build it for this machine"};
  if (loader != OwnLoader()) return std::nullopt;
  const std::string missing = FindMissingLibraries(loader, path);
  if (missing.empty()) return std::nullopt;
  return Finding{"cannot be launched: missing shared library " + missing,
                 "install it, or add it to the package and link with "
                 "-Wl,-rpath,'$ORIGIN/../lib'"};
}

}  // namespace tools::inspect
