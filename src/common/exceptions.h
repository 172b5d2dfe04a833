// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_COMMON_EXCEPTIONS_H_
#define QOR_SRC_COMMON_EXCEPTIONS_H_

#include <exception>
#include <string>
#include <string_view>
#include <vector>

#include "tizen/callback-guard.h"

// Base of the library's exceptions. Thrown by value; api::TryCatch() turns them into return codes
// of the C interface.
class QorCommonException : public std::exception {
 public:
  // `file` is the path of the throwing source; only its last component is kept.
  QorCommonException(const char* file, int line, std::string_view message) : message_(message) {
    locations_.push_back(tizen::BaseName(file) + (":" + std::to_string(line)));
  }

  const char* what() const noexcept override { return message_.c_str(); }

  // Location of the throw, as "<file name>:<line>".
  const std::vector<std::string>& Locations() const { return locations_; }

 private:
  std::vector<std::string> locations_;
  std::string message_;
};

class InvalidParameter : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

class NotInitialized : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

class AlreadyInitialized : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

class InvalidOperation : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

class OperationFailed : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

class NotSupported : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

class NotSupportedCommand : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

class PermissionDenied : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

class IOError : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

class NoSpaceOnDevice : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

class FailToSendAppControl : public QorCommonException {
 public:
  using QorCommonException::QorCommonException;
};

#endif
