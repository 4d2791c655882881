#!/usr/bin/env bash
# A manual page says what the program's --help says: the same options with
# the same values, each with the default --help gives, and groff renders it
# without a warning.
# Usage: page_matches_help.sh PROGRAM PAGE
set -euo pipefail
program=$1
page=$2
fail() { echo "FAIL: $(basename "$page"): $*"; exit 1; }

# "--name VALUE<tab>DEFAULT" for each option of --help; a default that runs
# onto a line of its own belongs to the option above it.
"$program" --help >/dev/null || fail "$program --help failed"
help=$("$program" --help | awk '
  function put() { if (name != "") printf "%s\t%s\n", name, fallback }
  /^  --/ {
    put()
    name = $1
    if (match($0, /^  --[a-z-]+ [^ ]+ /)) name = name " " $2
    fallback = ""
  }
  /\(default: [^ )]+\)$/ {
    match($0, /\(default: [^ )]+\)$/)
    fallback = substr($0, RSTART + 10, RLENGTH - 11)
  }
  END { put() }')

# The same from the page: in OPTIONS, the tag after each .TP and the
# "Default: X" of its paragraph, with the roff escapes taken out.
options=$(awk '
  function plain(s) {
    gsub(/\\f[BIRP]/, "", s); gsub(/\\-/, "-", s); gsub(/\\&/, "", s); gsub(/"/, "", s)
    sub(/^\.[A-Z]+ /, "", s); gsub(/  +/, " ", s); sub(/ +$/, "", s)
    return s
  }
  function put() {
    if (name == "") return
    fallback = ""
    # The value ends at a space or a comma; a final full stop ends the sentence.
    if (match(body, /Default: [^ ,]+/)) fallback = substr(body, RSTART + 9, RLENGTH - 9)
    if (fallback ~ /.\.$/) fallback = substr(fallback, 1, length(fallback) - 1)
    printf "%s\t%s\n", name, fallback
    name = ""
  }
  /^\.SH / { put(); inside = ($0 == ".SH OPTIONS"); next }
  !inside { next }
  /^\.TP/ { put(); tag = 1; next }
  tag { name = plain($0); body = ""; tag = 0; next }
  { body = body " " plain($0) }
  END { put() }' "$page")

[ -n "$help" ] || fail "$program --help lists no option"
[ -n "$options" ] || fail "the page has no OPTIONS"
if ! differences=$(diff <(sort <<<"$help") <(sort <<<"$options")); then
  echo "< --help of $(basename "$program"), > the page (option, value and default):"
  echo "$differences"
  fail "the page and --help differ"
fi

warnings=$(groff -ww -man -Tutf8 -z "$page" 2>&1)
[ -z "$warnings" ] || fail "groff warns: $warnings"
echo "passed ($(wc -l <<<"$help") options)"
