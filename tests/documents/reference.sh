#!/usr/bin/env bash
# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0
#
# reference.sh SOURCES FOLDER: builds the API reference in FOLDER without warnings, checks the links
# between its pages, and compares docs/architecture.svg with docs/architecture.dot by nodes, labels
# and edges. Coordinates may differ between versions of Graphviz.
set -euo pipefail
sources=$1 folder=$2
rm -rf "$folder"
"$sources/docs/make.sh" "$folder"
for page in index.html qor__handler__manager_8h.html handler_8h.html md_docs_agent_guide.html; do
  [ -s "$folder/$page" ] || { echo "missing page: $page"; exit 1; }
done
broken=$(cd "$folder" && grep -ohE '(href|src|data)="[^":#]+["#]' ./*.html | sed -E 's/^[^"]*"|["#]$//g' | sort -u |
  while read -r path; do [ -e "$path" ] || echo "$path"; done)
[ -z "$broken" ] || { echo "broken links:" "$broken"; exit 1; }
labels() { grep -oE '<(title|text)[ >].*' "$1" | sed -E 's/<[^>]*>//g'; }
if ! diff <(labels "$sources/docs/architecture.svg") <(labels "$folder/architecture.svg"); then
  echo "docs/architecture.svg is out of date: dot -Tsvg docs/architecture.dot -o docs/architecture.svg"
  exit 1
fi
