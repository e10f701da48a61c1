"""Checks that each source of the tool includes what it uses of the standard library.

usage: includes_test.py PROJECT

The tests compile several sources of the tool at once, after a precompiled header, so
that no compiler sees a missing header. A header counts if the source includes it, or
a header of the project that it includes.
"""

import functools
import pathlib
import re
import sys

HEADERS = {
    "algorithm": "adjacent_find clamp copy count count_if equal find find_if max min"
    " ranges reverse sort transform",
    "array": "array to_array",
    "atomic": "atomic",
    "bit": "bit_width",
    "charconv": "chars_format from_chars to_chars",
    "chrono": "chrono",
    "cmath": "isfinite",
    "condition_variable": "condition_variable",
    "csignal": "raise signal",
    "cstddef": "byte max_align_t nullptr_t ptrdiff_t size_t",
    "cstdint": "int16_t int32_t int64_t int8_t uint16_t uint32_t uint64_t uint8_t",
    "cstdio": "FILE fclose fflush fopen fputs fwrite perror puts setvbuf snprintf",
    "cstdlib": "abort atexit exit getenv size_t",
    "cstring": "memchr memcmp memcpy memmove size_t strerror strlen",
    "ctime": "time time_t tm",
    "exception": "current_exception exception exception_ptr rethrow_exception terminate",
    "filesystem": "filesystem",
    "functional": "function hash less",
    "initializer_list": "initializer_list",
    "ios": "streamsize",
    "iostream": "cerr cin cout streamsize",
    "iterator": "back_inserter begin end size",
    "limits": "numeric_limits",
    "map": "map",
    "memory": "make_shared make_unique shared_ptr unique_ptr",
    "mutex": "lock_guard mutex scoped_lock try_to_lock unique_lock",
    "new": "bad_alloc",
    "optional": "nullopt optional",
    "random": "mt19937 mt19937_64 random_device",
    "ratio": "ratio",
    "set": "set",
    "span": "span",
    "sstream": "istringstream ostringstream stringstream",
    "stdexcept": "invalid_argument logic_error out_of_range runtime_error",
    "streambuf": "streambuf",
    "string": "erase_if hash stoi stoll string to_string",
    "string_view": "hash string_view string_view_literals",
    "system_error": "errc error_code generic_category system_category system_error",
    "thread": "this_thread thread",
    "type_traits": "decay_t is_same_v remove_cvref_t type_identity",
    "utility": "exchange forward in_place move pair swap",
    "variant": "get get_if holds_alternative monostate variant visit",
    "vector": "erase_if vector",
}
PROVIDERS = {}
for header, names in HEADERS.items():
    for name in names.split():
        PROVIDERS.setdefault(name, set()).add(header)


@functools.cache
def code(path):
    text = re.sub(r'R"(\w*)\(.*?\)\1"', '""', path.read_text(), flags=re.DOTALL)
    return re.sub(r"//.*", "", text)


def included(project, path, seen):
    """The system headers that a file includes, also by headers of the project."""
    if path in seen:
        return set()
    seen.add(path)
    headers = set(re.findall(r"^#include <(.+)>", code(path), re.MULTILINE))
    for name in re.findall(r'^#include "(.+)"', code(path), re.MULTILINE):
        if (project / name).exists():
            headers |= included(project, project / name, seen)
    return headers


def faults(project, source):
    headers = included(project, source, set())
    for name in sorted(set(re.findall(r"\bstd::(\w+)", code(source)))):
        if name not in PROVIDERS:
            yield f"{source}: std::{name} is in no list of {pathlib.Path(__file__).name}"
        elif not PROVIDERS[name] & headers:
            yield f"{source}: std::{name} needs <{'> or <'.join(sorted(PROVIDERS[name]))}>"


def main():
    project = pathlib.Path(sys.argv[1])
    tests = re.compile(r"_(test|testing|fuzz|benchmark|unlisted|mistaken|misread)\.cc$")
    sources = [s for s in sorted((project / "tool").rglob("*.cc")) if not tests.search(s.name)]
    found = [fault for source in sources for fault in faults(project, source)]
    print("\n".join(found), file=sys.stderr)
    assert len(sources) > 50, "no sources to look at"
    sys.exit(bool(found))


if __name__ == "__main__":
    main()
