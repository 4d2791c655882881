#!/usr/bin/env bash
# Every option the daemon's settings file offers is one the module accepts:
# each arg, arg-set and arg-unset, numbers at both ends of their range, given
# to the module with no display to open, must fail on the display, not on the
# option.
# Usage: settings_file.sh TAVREL_SAVER SETTINGS_XML
set -euo pipefail
module=$1 xml=$2
mapfile -t offered < <(
  grep -o 'arg-\(un\)\?set="[^"]*"' "$xml" | sed 's/^arg-\(un\)\?set="//; s/"$//'
  grep -o '<command arg="[^"]*"' "$xml" | sed 's/^<command arg="//; s/"$//'
  # A number's arg with its low and its high value.
  tr '\n' ' ' <"$xml" | grep -o '<number [^>]*>' | while read -r number; do
    arg=$(grep -o ' arg="[^"]*"' <<<"$number" | sed 's/^ arg="//; s/"$//')
    for end in low high; do
      value=$(grep -o " $end=\"[^\"]*\"" <<<"$number" | sed "s/^ $end=\"//; s/\"$//")
      echo "${arg//%/$value}"
    done
  done
)
((${#offered[@]} >= 10)) || { echo "only ${#offered[@]} options found in $xml"; exit 1; }
for options in "${offered[@]}"; do
  status=0
  # shellcheck disable=SC2086 # an option and its value are two words
  DISPLAY=:nowhere "$module" $options >/dev/null 2>&1 || status=$?
  [ "$status" = 1 ] || { echo "'$options': exit $status, not the missing display's 1"; exit 1; }
done
echo "${#offered[@]} offered options accepted"
