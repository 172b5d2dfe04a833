// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_PACKAGE_ROOT_H_
#define QOR_BENCH_SUPPORT_PACKAGE_ROOT_H_

#include <cstddef>
#include <string>

namespace bench {

// Fills a platform's root with `packages` installed packages, the first `handlers` of which hold a
// handler application. Number N serves "text.echo.N", which it answers with the payload, and
// "text.silent.N", which it leaves unanswered. They do not go through the installer, whose care for
// every file would take minutes. Runs in a process of its own.
void FillRoot(const std::string& root, std::size_t packages, std::size_t handlers);

// Id of the application of package N.
std::string HandlerId(std::size_t number);

// The executables that stand beside this one, and the packages that were built.
std::string FolderOfBench();
std::string EchoPackage();

}  // namespace bench

#endif
