// Copyright 2026 The qor-handler-manager authors
// SPDX-License-Identifier: Apache-2.0

#ifndef PLATFORM_LINUX_PACKAGE_MANAGER_UTF8_LOCALE_H_
#define PLATFORM_LINUX_PACKAGE_MANAGER_UTF8_LOCALE_H_

#include <locale.h>

namespace platform {

// The character set of the calling thread is UTF-8 while an object exists. In the C locale
// libarchive can neither read nor write names outside ASCII that an archive marks as UTF-8.
class Utf8Locale {
 public:
  Utf8Locale() : locale_(newlocale(LC_CTYPE_MASK, "C.UTF-8", locale_t{})) {
    if (locale_ != locale_t{}) before_ = uselocale(locale_);
  }
  Utf8Locale(const Utf8Locale&) = delete;
  Utf8Locale& operator=(const Utf8Locale&) = delete;
  ~Utf8Locale() {
    if (locale_ == locale_t{}) return;
    uselocale(before_);
    freelocale(locale_);
  }

 private:
  const locale_t locale_;  // null if the system has none
  locale_t before_ = {};
};

}  // namespace platform

#endif
