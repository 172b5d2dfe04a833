#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# reference.sh SOURCES FOLDER: the API reference is made without a warning, its pages lead to files
# that are there, and the drawing in the sources is the one that its text describes: the same words
# and arrows, wherever a version of Graphviz puts them.
set -euo pipefail
sources=$1 folder=$2
rm -rf "$folder"
"$sources/docs/make.sh" "$folder"
for page in index.html qor__handler__manager_8h.html handler_8h.html md_docs_agent_guide.html; do
  [ -s "$folder/$page" ] || { echo "there is no page $page"; exit 1; }
done
lost=$(cd "$folder" && grep -ohE '(href|src|data)="[^":#]+["#]' ./*.html | sed -E 's/^[^"]*"|["#]$//g' | sort -u |
  while read -r path; do [ -e "$path" ] || echo "$path"; done)
[ -z "$lost" ] || { echo "the pages lead to files that are not there:" "$lost"; exit 1; }
words() { grep -oE '<(title|text)[ >].*' "$1" | sed -E 's/<[^>]*>//g'; }
if ! diff <(words "$sources/docs/architecture.svg") <(words "$folder/architecture.svg"); then
  echo "the drawing is old: dot -Tsvg docs/architecture.dot -o docs/architecture.svg"
  exit 1
fi
