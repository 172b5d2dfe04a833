# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

cmake_minimum_required(VERSION 3.21)

# cmake -D FOLDER=... -D OUTPUT=... -P embed.cmake: writes a C++ string with the page and its style and
# scripts. The placeholder of the record remains.
file(READ ${FOLDER}/page.html html)
file(READ ${FOLDER}/page.css style)
set(script "")
foreach(part format outcomes view lanes painter timeline details table statistics page)
  file(READ ${FOLDER}/${part}.js text)
  string(APPEND script "${text}")
endforeach()
string(REPLACE "@style@" "${style}" html "${html}")
string(REPLACE "@script@" "${script}" html "${html}")
file(WRITE ${OUTPUT} "namespace tools::record {
extern const char kPage[];
const char kPage[] = R\"--page--(${html})--page--\";
}
")
