// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

// Identification of handlers on an overlay file system, whose device and inode numbers are assigned
// by the kernel and may come from either layer.

#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <sstream>

#include "end-to-end-test.h"

namespace security {
namespace {

namespace fs = std::filesystem;

// $1: a folder for the layers, $2: the qor tool, $3: the folder of packages.
constexpr char kPrelude[] = R"sh(
set -euo pipefail
cd "$1"; qor=$2 packages=$3
mkdir -p base image image-work upper work merged
# mount_layers LOWER UPPER WORK
mount_layers() { mount -t overlay overlay -o "userxattr,lowerdir=$1,upperdir=$2,workdir=$3" merged; }
# The work folder belongs to the kernel, and only the owner of the namespace can remove it.
# Uninstalling ends the handlers.
cleanup() {
  for package in "$QOR_PLATFORM_ROOT"/packages/*; do
    "$qor" package uninstall "$(basename "$package")" >&2 || true
  done
  umount -l merged
  rm -rf work image-work
}
trap cleanup EXIT
export QOR_PLATFORM_ROOT=$PWD/merged/root
install() { "$qor" package install "$packages/$1" >&2; }
start_agent() { coproc AGENT { exec "$qor" agent 2>agent.log; }; }
# echo_command NUMBER: prints the line with the outcome of a command.
echo_command() {
  echo '{"uuid":"'"$1"'","type":"text.echo","payload":'"$1"'}' >&"${AGENT[1]}"
  while read -r line <&"${AGENT[0]}"; do
    case $line in *outcome*) echo "$line"; return ;; esac
  done
}
start_peer() { coproc PEER { exec "$1"; }; }
end_peer() { exec {PEER[1]}>&-; wait "$PEER_PID"; }
ask() {
  echo "$1" >&"${PEER[1]}"
  read -r line <&"${PEER[0]}"
  echo "$line"
}
# program NAME: the installed executable.
program() { find "$QOR_PLATFORM_ROOT/packages" -path "*/bin/$1"; }
)sh";

class Overlay : public end_to_end::EndToEndTest {
 protected:
  // Runs the script in a mount namespace of its own, and in a user namespace where that needs one.
  tools::ProcessResult RunInNamespace(const std::string& script) const {
    const std::string path = Root() + "/script";
    std::ofstream(path) << kPrelude << script;
    const bool is_privileged =
        tools::RunProcess({"unshare", "--mount", "true"}, end_to_end::kTimeoutSeconds)
            .exit_status == 0;
    std::vector<std::string> command = {"unshare", "--mount"};
    if (!is_privileged) command.insert(command.end(), {"--user", "--map-root-user"});
    command.insert(command.end(),
                   {"bash", path, Root(), BuildFolder() + "/tools/qor/qor", Packages()});
    return tools::RunProcess(command, end_to_end::kTimeoutSeconds);
  }

  // Expects the script to print these lines. Where the kernel permits no overlay, expects its
  // error and an unused mount point instead.
  void ExpectLines(const std::string& script, const std::vector<std::string>& expected) const {
    const auto probe = RunInNamespace("mount_layers base upper work; echo mounted");
    if (probe.output != "mounted\n") {
      EXPECT_NE(probe.exit_status, 0);
      const bool is_denied = probe.errors.find("not permitted") != std::string::npos ||
                             probe.errors.find("denied") != std::string::npos ||
                             probe.errors.find("unknown filesystem type") != std::string::npos ||
                             // The limit of user namespaces is 0.
                             probe.errors.find("No space left on device") != std::string::npos;
      EXPECT_TRUE(is_denied) << probe.errors;
      EXPECT_TRUE(!fs::exists(Root() + "/merged") || fs::is_empty(Root() + "/merged"));
      return;
    }
    const auto run = RunInNamespace(script);
    EXPECT_EQ(run.exit_status, 0) << run.errors;
    std::istringstream output(run.output);
    std::vector<std::string> lines;
    for (std::string line; std::getline(output, line);) lines.push_back(line);
    ASSERT_EQ(lines.size(), expected.size()) << run.output << run.errors;
    for (size_t i = 0; i < lines.size(); ++i) {
      EXPECT_NE(lines[i].find(expected[i]), std::string::npos) << run.output << run.errors;
    }
  }
};

constexpr char kSuccess[] = R"("outcome":"succeeded")";
constexpr char kNotInstalled[] = "rejected: not an installed application";

TEST_F(Overlay, HandlerInTheUpperLayerIsIdentified) {
  ExpectLines(R"sh(
mount_layers base upper work
install text
start_agent
echo_command 1
)sh",
              {kSuccess});
}

TEST_F(Overlay, HandlerInTheLowerLayerIsIdentifiedBeforeAndAfterItsCopyUp) {
  ExpectLines(R"sh(
mount_layers base image image-work
install text
install attacker
umount merged
mount_layers image:base upper work
start_agent
echo_command 1
echo handshake host.qor | "$(program attacker)"
# Copies both into the upper layer, the first while it runs.
touch "$(program text-handler)" "$(program attacker)"
test -e upper/"$(realpath --relative-to merged "$(program attacker)")"
echo_command 2
echo handshake host.qor | "$(program attacker)"
)sh",
              {kSuccess, "accepted", kSuccess, "accepted"});
}

TEST_F(Overlay, OtherFilesAreNotIdentifiedAsTheHandler) {
  ExpectLines(R"sh(
mount_layers base upper work
install text
install attacker
start_agent
echo_command 1
attacker=$(program attacker)
cp "$attacker" merged/copy
echo handshake host.qor | merged/copy
# Mounted over the handler's executable in another mount namespace.
start_peer "$attacker"
ask "cover $(program text-handler)"
ask "handshake host.qor"
end_peer
# Replaced while it runs.
start_peer "$attacker"
ask waiting
mv merged/copy "$attacker"
ask "handshake host.qor"
echo handshake host.qor | "$attacker"
)sh",
              {kSuccess, kNotInstalled, "covered", kNotInstalled, "-1",
               "rejected: cannot identify the peer process", "accepted"});
}

}  // namespace
}  // namespace security
