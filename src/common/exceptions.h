// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_SRC_COMMON_EXCEPTIONS_H_
#define QOR_SRC_COMMON_EXCEPTIONS_H_

#include <exception>
#include <string>
#include <string_view>
#include <vector>

// Every failure inside the library is one of these, thrown by value; the C interface turns it into
// a return code.
class QorCommonException : public std::exception {
 public:
  // `file` is the full path of the throwing source; only its last component is kept.
  QorCommonException(const char* file, int line, std::string_view message);

  const char* what() const noexcept override { return message_.c_str(); }

  // Where it was thrown, as "<file name>:<line>".
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
