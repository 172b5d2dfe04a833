# Copyright 2026 The qor-handler-manager authors
# SPDX-License-Identifier: Apache-2.0

# For sed -z, on each document. Its title comes first, or it would not be that of the page.
s/^(<!--[^\n]*\n)+\n*//
# Doxygen does not resolve titles of other documents, so these links lead to the documents alone.
s/\]\(([^) #]+\.md)#[^) ]*\)/](\1)/g
# Links to sources lead nowhere from the pages, so their words alone stay.
s/\]\(([^) ]*\.(md|svg)[^) ]*)\)/](\x01\1)/g
s/\[([^][]+)\]\([^)\x01:# ]+\)/\1/g
s/\x01//g
