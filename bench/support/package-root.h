// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef QOR_BENCH_SUPPORT_PACKAGE_ROOT_H_
#define QOR_BENCH_SUPPORT_PACKAGE_ROOT_H_

#include <cstddef>
#include <string>

namespace bench {

// Fills a platform's root with `packages` installed packages, the first `handlers` of which contain
// a handler application. Handler N answers "text.echo.N" with the payload and never answers
// "text.silent.N". Writes the database directly, because the installer, which syncs every file,
// would take minutes. Works in a child process, which has the root in its environment.
void FillRoot(const std::string& root, std::size_t packages, std::size_t handlers);

// The application id of package N.
std::string HandlerId(std::size_t number);

// The folder of this executable, and that of the built echo package.
std::string BenchFolder();
std::string EchoPackage();

}  // namespace bench

#endif
