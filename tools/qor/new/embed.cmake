# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

cmake_minimum_required(VERSION 3.21)

# cmake -D FOLDER=... -D FILES=... -D OUTPUT=... -P embed.cmake: writes C++ code with the files of
# the template. FILES is a list without the suffix ".in".
set(entries "")
foreach(file IN LISTS FILES)
  file(READ ${FOLDER}/${file}.in text)
  string(APPEND entries "    {\"${file}\", R\"--file--(${text})--file--\"},\n")
endforeach()
file(WRITE ${OUTPUT} "#include \"qor/new/template.h\"

const std::vector<tools::cli::TemplateFile> tools::cli::kTemplate = {
${entries}};
")
