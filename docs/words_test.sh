#!/bin/sh
# Looks for words that the glossary in CONTRIBUTING.md replaces.
# usage: words_test.sh PROJECT
set -eu
cd "$1"

# Extended regular expressions, one a line. Only whole habits are listed: a word
# that is right in some other sense is not.
words='check values?\b
line feeds?\b
electronic code book
lines? of the cache
\b(en|de)cipher
upper and lower case apart
letter by letter
\bfor want of
\bgoes? on at its other end
\bturns over\b
\btold\b|\btells? (of|that|why|how|what|each|the steps?)\b
line breaks?\b
missed signals?\b
without letters\b
places in a row
\bcomplain
\bpersons?\b
\bstands? (unnamed|first|before|behind|above|below|beside|alone|there|in|at|on|for)\b
\bwhom\b
\braced?\b the library
\bmeanwhile, another
at hand as a variable
the nearest is
is no word
one word too many'

files=$(find . \( -path ./build -o -path ./.git -o -name '*_corpus' \) -prune -o -type f \
  \( -name '*.h' -o -name '*.cc' -o -name '*.md' -o -name '*.sh' -o -name '*.py' -o -name '*.pml' -o -name '*.txt' -o -name '*.cmake' \
  -o -name dev \) -print | grep -vE '^\./(CONTRIBUTING\.md|docs/words_test\.sh)$')
status=0
while IFS= read -r word; do
  if grep -nHiE -e "$word" $files; then
    echo "^ see the glossary in CONTRIBUTING.md: /$word/" >&2
    status=1
  fi
done <<LIST
$words
LIST
exit $status
