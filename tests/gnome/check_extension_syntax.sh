#!/bin/sh
# SPDX-License-Identifier: MIT
# The extension's ECMAScript-module build (GNOME Shell 45 and later, not run here) is parsed by
# gjs as a module: it must get as far as resolving its imports (the shell's own modules, absent
# outside the shell) without a syntax error.
set -u
status=0
for file in "$@"; do
  out=$(gjs -m "$file" 2>&1)
  if printf '%s' "$out" | grep -q -e 'Failed to parse' -e 'SyntaxError'; then
    echo "$file: $out"
    status=1
  elif ! printf '%s' "$out" | grep -q 'Failed to resolve imports'; then
    echo "$file: not parsed as a module: $out"
    status=1
  fi
done
exit $status
