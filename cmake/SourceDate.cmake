# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# QOR_SOURCE_DATE: the date of all files in packages, in seconds since 1970. It is the date of the
# sources, so that packages do not depend on the time of the build.
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  set(QOR_SOURCE_DATE $ENV{SOURCE_DATE_EPOCH})
else()
  execute_process(COMMAND git log -1 --format=%ct WORKING_DIRECTORY ${PROJECT_SOURCE_DIR}
    OUTPUT_VARIABLE QOR_SOURCE_DATE OUTPUT_STRIP_TRAILING_WHITESPACE ERROR_QUIET)
  if(NOT QOR_SOURCE_DATE)
    file(TIMESTAMP ${PROJECT_SOURCE_DIR}/CHANGELOG.md QOR_SOURCE_DATE %s UTC)
  endif()
endif()
