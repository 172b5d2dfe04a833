// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#include "operation.h"

#include <sstream>

namespace model {
namespace {

std::string Describe(const Package& package) {
  std::ostringstream out;
  out << package.id << (package.preloaded ? " (preloaded)" : "");
  for (const support::HandlerApp& app : package.apps) {
    out << ", " << app.id << " [";
    if (app.request_types) {
      for (const std::string& type : *app.request_types) out << " " << type;
    } else {
      out << " no configuration file";
    }
    out << " ] priority " << app.priority.value_or("none");
  }
  return out.str();
}

std::string Describe(const Operation& operation, Event event) {
  const std::string& id = operation.package.id;
  switch (event) {
    case Event::kInstalled:
      return id + " installed";
    case Event::kUpdated:
      return id + " updated";
    case Event::kUninstalling:
      return id + " about to be uninstalled";
    case Event::kUninstalled:
      return id + " uninstalled";
    case Event::kForeignType:
      return id + " of another package type installed";
  }
  return "";
}

const char* Describe(Listen listen) {
  switch (listen) {
    case Listen::kResponses:
      return "responses";
    case Listen::kNegotiations:
      return "negotiations";
    case Listen::kUpdates:
      return "handler updates";
  }
  return "";
}

const char* Describe(Failure failure) {
  switch (failure) {
    case Failure::kNone:
      return "";
    case Failure::kExtraData:
      return " while adding extra data fails";
    case Failure::kLaunch:
      return " while launching fails";
    case Failure::kTimer:
      return " while creating timers fails";
  }
  return "";
}

std::string DescribeSend(const Operation& operation) {
  std::ostringstream out;
  out << "send " << operation.uuid << " " << operation.type << " ";
  if (operation.has_text) {
    out << "'" << operation.text << "'";
  } else {
    out << "null";
  }
  out << " length " << operation.length << " time " << operation.timestamp;
  return out.str();
}

std::string DescribeReaction(const Operation& operation) {
  switch (operation.reaction) {
    case Reaction::kNone:
      return "do nothing";
    case Reaction::kSend:
      return DescribeSend(operation);
    case Reaction::kConfigure:
      return "configure execution " + std::to_string(operation.execution_timeout) +
             " ms, connection " + std::to_string(operation.connection_timeout) + " ms";
    case Reaction::kShutDown:
      return "shut down";
    case Reaction::kRestart:
      return "shut down, listen for responses again";
  }
  return "";
}

std::string DescribeConnectionCall(const Operation& operation) {
  std::ostringstream out;
  out.precision(17);
  out << operation.app << "/" << operation.slot << " ";
  switch (operation.kind) {
    case Kind::kConnect:
      out << "connects";
      break;
    case Kind::kDisconnect:
      out << "disconnects";
      break;
    case Kind::kFetch:
      out << "fetches" << (operation.once ? " once" : "") << " with callback "
          << operation.callback;
      break;
    case Kind::kAnswer:
      out << "answers " << operation.uuid << " '" << operation.text << "' status "
          << operation.status << " error '" << operation.error << "'";
      break;
    case Kind::kNegotiate:
      out << "requests " << operation.seconds << " s for " << operation.uuid
          << ", the client returns " << operation.status;
      break;
    default:
      out << "calls an unknown method";
  }
  return out.str();
}

std::string DescribeKind(const Operation& operation) {
  std::ostringstream out;
  out.precision(17);
  switch (operation.kind) {
    case Kind::kPutPackage:
      return "put package " + Describe(operation.package);
    case Kind::kDropPackage:
      return "drop package " + operation.package.id;
    case Kind::kRaiseEvent:
      return "event: " + Describe(operation, operation.event);
    case Kind::kConfigure:
      out << "configure execution " << operation.execution_timeout << " ms, connection "
          << operation.connection_timeout << " ms";
      return out.str();
    case Kind::kInitialize:
      return "initialize without a configuration";
    case Kind::kListen:
      return std::string("listen for ") + Describe(operation.listen);
    case Kind::kReact:
      return "in the next callback: " + DescribeReaction(operation);
    case Kind::kSend:
      return DescribeSend(operation);
    case Kind::kAdvance:
      out << "advance " << operation.seconds << " s";
      return out.str();
    case Kind::kShutDown:
      return "shut down";
    default:
      return DescribeConnectionCall(operation);
  }
}

}  // namespace

std::string Describe(const Operation& operation) {
  return DescribeKind(operation) + Describe(operation.failure);
}

std::string Describe(const std::vector<Operation>& operations) {
  std::string text;
  for (std::size_t i = 0; i < operations.size(); ++i) {
    text += "  " + std::to_string(i + 1) + ". " + Describe(operations[i]) + "\n";
  }
  return text;
}

}  // namespace model
