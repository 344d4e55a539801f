#!/usr/bin/env bash
# Keeps kwlib's manual page and bash completion in step with the tool itself:
# the same commands as `kwlib --help`, and every sub-command and option a
# command's usage shows present in its man section and its completion words.
# Usage: kwlib_docs_test.sh KWLIB MANPAGE COMPLETION
set -uo pipefail

kwlib=$1 page=$2 completion=$3
failures=0
fail() {
  echo "FAIL: $*"
  failures=$((failures + 1))
}

# Words of a text, split at blanks and the punctuation around options in usage
# lines and troff macros ("[--json]", "--lang=L", "/ve]", "-d,").
words() { sed 's/[][[:space:](){}|,;:."=]/\n/g' | grep -v '^$'; }

# The page's text with the escapes an option is written with undone.
plain_page() { sed -e 's/\\-/-/g' -e 's/\\f[BIRP]//g' -e 's/\\&//g' -e 's/\\(dq/"/g' "$page"; }

# The lines of the man section whose .SS title is $1.
man_section() { plain_page | awk -v cmd="$1" '/^\.SH/ { inside = 0; next } /^\.SS/ { inside = ($2 == cmd); next } inside'; }

completion_words() {
  bash -c 'source "$1" && printf "%s\n" ${_kwlib_words[$2]}' _ "$completion" "$1"
}

# The page renders without a warning.
if ! command -v groff >/dev/null; then
  fail "groff is missing (scripts/install-deps installs groff-base)"
else
  warnings=$(LC_ALL=C.UTF-8 groff -man -ww -z "$page" 2>&1) || fail "groff could not format $page"
  [ -z "$warnings" ] || fail "groff warns about $page:"$'\n'"$warnings"
fi

# The three lists of commands.
help_commands=$("$kwlib" --help | awk '/^Commands:/ { listing = 1; next } listing && NF == 0 { exit } listing { print $1 }' | sort)
man_commands=$(plain_page | sed -n 's/^\.SS *//p' | tr -d '"' | sort)
completion_commands=$(bash -c 'source "$1" && printf "%s\n" "${!_kwlib_words[@]}"' _ "$completion" | sort)

[ -n "$help_commands" ] || fail "kwlib --help lists no commands"
[ "$help_commands" = "$man_commands" ] ||
  fail "the man page's commands differ from kwlib --help:"$'\n'"$(diff <(echo "$help_commands") <(echo "$man_commands"))"
[ "$help_commands" = "$completion_commands" ] ||
  fail "the completion's commands differ from kwlib --help:"$'\n'"$(diff <(echo "$help_commands") <(echo "$completion_commands"))"

for command in $help_commands; do
  help=$("$kwlib" "$command" --help) || fail "kwlib $command --help failed"
  # The usage: its own lines, an "options:" line and the indented lines; the prose
  # lines start in the first column and may hold words such as "-beta".
  usage=$(grep -iE '^(usage:|options:|[[:space:]])' <<<"$help")
  options=$(words <<<"$usage" | grep -E '^(--?[A-Za-z][A-Za-z0-9-]*|/[A-Za-z]+)$' | sort -u)
  # A sub-command is the first word after "kwlib COMMAND" when it is lower case.
  subcommands=$(sed -n "s/.*kwlib $command \(\[[^]]*\] \)*\([a-z][a-z-]*\)\( .*\)\{0,1\}\$/\2/p" <<<"$usage" | sort -u)
  section=$(man_section "$command" | words | sort -u)
  offered=$(completion_words "$command" | sort -u)
  for word in $options $subcommands; do
    grep -qxF -- "$word" <<<"$section" || fail "kwlib $command: '$word' is not in its man section"
    grep -qxF -- "$word" <<<"$offered" || fail "kwlib $command: '$word' is not among its completion words"
  done
done

if [ "$failures" -gt 0 ]; then
  echo "$failures failure(s)"
  exit 1
fi
echo "the man page and the completion match kwlib's $(wc -w <<<"$help_commands") commands"
