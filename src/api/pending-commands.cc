// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "api/pending-commands.h"

#include <algorithm>
#include <utility>

namespace api {

RequestContext& PendingCommands::Append(rpc_port::stub::Command command,
                                        std::function<bool()> action) {
  if (contexts_.size() == vacated_.size()) {
    vacated_.resize(std::max<std::size_t>(1, 2 * contexts_.size()));
  }
  contexts_.emplace_back(std::move(command), std::move(action));
  if (auto& place = vacated_[contexts_.size() - 1]) contexts_.back().Occupy(std::move(place));
  return contexts_.back();
}

RequestContext* PendingCommands::Find(const std::string& uuid) {
  const auto found = std::find_if(
      contexts_.begin(), contexts_.end(),
      [&uuid](const RequestContext& context) { return context.GetCommand().uuid == uuid; });
  return found != contexts_.end() ? &*found : nullptr;
}

void PendingCommands::Remove(const std::string& uuid) {
  const RequestContext* found = Find(uuid);
  if (found == nullptr) return;
  if (auto place = contexts_.back().Place()) vacated_[contexts_.size() - 1] = std::move(place);
  contexts_.erase(contexts_.begin() + (found - contexts_.data()));
}

}  // namespace api
