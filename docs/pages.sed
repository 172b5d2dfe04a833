# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# Filter for sed -z, applied to each document. Removes leading comments: Doxygen takes the title of
# the page from the first line.
s/^(<!--[^\n]*\n)+\n*//
# Removes anchors from links to other documents, which Doxygen does not resolve.
s/\]\(([^) #]+\.md)#[^) ]*\)/](\1)/g
# Replaces links to source files, which have no page, by their text.
s/\]\(([^) ]*\.(md|svg)[^) ]*)\)/](\x01\1)/g
s/\[([^][]+)\]\([^)\x01:# ]+\)/\1/g
s/\x01//g
