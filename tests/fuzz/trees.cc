// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Removal of folder trees that an application left in its data folder.

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>

#include "input.h"
#include "platform/linux/common/unix-socket.h"
#include "platform/linux/package-manager/file-system.h"
#include "target.h"

namespace {

namespace fs = std::filesystem;
using platform::UniqueFd;

UniqueFd Open(int folder, const char* name) {
  return UniqueFd(openat(folder, name, O_PATH | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
}

// Creates files, folders and links, and descends and ascends, as the input decides.
void Build(const std::string& root, fuzz::Input input) {
  UniqueFd folder = Open(AT_FDCWD, root.c_str());
  size_t depth = 0;
  constexpr int kMaxSteps = 200;
  for (int i = 0; i < kMaxSteps && !input.IsOver(); ++i) {
    const std::string name = std::to_string(input.Below(4)) + std::string(input.Below(200), 'n');
    switch (input.Below(6)) {
      case 0:
        UniqueFd(openat(folder.Get(), name.c_str(), O_CREAT | O_WRONLY | O_CLOEXEC, 0400));
        break;
      case 1:
        symlinkat("../../kept", folder.Get(), name.c_str());
        break;
      case 2:
        mkfifoat(folder.Get(), name.c_str(), 0);
        break;
      case 3:
        fchmodat(folder.Get(), ".", static_cast<mode_t>(input.Below(8)) << 6, 0);
        break;
      case 4:
        if (depth == 0) break;
        folder = Open(folder.Get(), "..");
        --depth;
        break;
      default:
        mkdirat(folder.Get(), name.c_str(), 0700);
        if (UniqueFd inner = Open(folder.Get(), name.c_str())) {
          folder = std::move(inner);
          ++depth;
        }
    }
    // The parent of a folder without search permission cannot be opened.
    if (!folder) return;
  }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
  const std::string kept = fuzz::WriteFile("kept/file", "text");
  const std::string root = fuzz::ScratchFolder() + "/tree";
  fs::create_directory(root);
  Build(root, {data, size});
  platform::RemoveTree(root);
  fuzz::Require(!fs::exists(fs::symlink_status(root)), "a tree is removed");
  fuzz::Require(fs::file_size(kept) == 4, "nothing else is removed");
  return 0;
}
