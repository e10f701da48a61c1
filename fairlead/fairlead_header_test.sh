#!/bin/sh
# Checks that fairlead.h includes every public header, that each compiles alone, and
# that a user's helpers may have common names: fairlead_header_test.sh COMPILER HEADER…
set -eu
folder=$(dirname "$0")
compiler=$1
shift
missing=0

# A header that its source includes before all else has been compiled alone.
is_first_of_its_source() {  # is_first_of_its_source NAME
  source=$folder/../${1%.h}.cc
  [ -e "$source" ] && [ "$(grep -m1 '^#include' "$source")" = "#include \"$1\"" ]
}
for header; do
  name=fairlead/${header#"$folder"/}
  case $name in
    # The umbrella itself, and what every other header includes.
    fairlead/fairlead.h | fairlead/export.h) continue ;;
  esac
  if ! grep -qxF "#include \"$name\"" "$folder/fairlead.h"; then
    echo "fairlead.h does not include $name" >&2
    missing=1
  fi
  is_first_of_its_source "$name" ||
    "$compiler" -std=c++20 -fsyntax-only -I"$folder/.." -x c++ "$header" || missing=1
done

"$compiler" -std=c++20 -fsyntax-only -I"$folder/.." -x c++ - <<'CODE' || missing=1
#include "fairlead/fairlead.h"
using namespace std;
using namespace fairlead;
static string ReadFile(const string& path) { return path; }
static bool WriteFile(const string& path, string_view text) { return path == text; }
static bool Connect(const string& host, int port) { return host.empty() && port == 0; }
static bool Contains(string_view text, string_view part) { return text == part; }
static string Join(const string& a, const string& b) { return a + b; }
int main() {
  return ReadFile(Join("a", "b")).empty() || WriteFile("a", "b") ||
         Connect("a", 1) || Contains("a", "b");
}
CODE

[ $# -gt 2 ] && exit $missing
echo "no headers to look for" >&2
exit 1
