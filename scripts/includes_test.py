"""Checks that each source and header of the tool includes what it uses of the standard library.

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
    "concepts": "integral",
    "condition_variable": "condition_variable",
    "csignal": "raise signal",
    "cstddef": "byte max_align_t nullptr_t ptrdiff_t size_t",
    "cstdint": "int16_t int32_t int64_t int8_t uint16_t uint32_t uint64_t uint8_t",
    "cstdio": "FILE fclose fflush fopen fputs fwrite perror puts setvbuf snprintf sscanf",
    "cstdlib": "abort atexit atoi exit getenv size_t",
    "cstring": "memchr memcmp memcpy memmove size_t strerror strlen",
    "ctime": "time time_t tm",
    "exception": "current_exception exception exception_ptr rethrow_exception terminate",
    "filesystem": "filesystem",
    "functional": "function hash less",
    "initializer_list": "initializer_list",
    "ios": "streamsize",
    "iostream": "cerr cin cout streamsize",
    "iterator": "back_inserter begin distance end size",
    "limits": "numeric_limits",
    "list": "list",
    "map": "map",
    "memory": "make_shared make_unique shared_ptr unique_ptr",
    "mutex": "lock_guard mutex scoped_lock try_to_lock unique_lock",
    "new": "bad_alloc",
    "numeric": "iota",
    "optional": "nullopt optional",
    "ostream": "ostream",
    "random": "mt19937 mt19937_64 random_device",
    "ratio": "ratio",
    "set": "set",
    "span": "span",
    "sstream": "istringstream ostringstream stringstream",
    "stdexcept": "exception invalid_argument logic_error out_of_range runtime_error",
    "streambuf": "streambuf",
    "string": "erase_if getline hash stoi stoll stoul string to_string",
    "string_view": "hash string_view string_view_literals",
    "system_error": "errc error_code generic_category system_category system_error",
    "thread": "this_thread thread",
    "type_traits": "decay_t is_enum_v is_same_v remove_cvref_t type_identity",
    "unordered_map": "unordered_map",
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
    tests = re.compile(r"_(test|fuzz|unlisted|mistaken|misread)\.cc$")
    files = sorted((project / "tool").rglob("*.cc")) + sorted((project / "tool").rglob("*.h"))
    sources = [file for file in files if not tests.search(file.name)]
    found = [fault for source in sources for fault in faults(project, source)]
    print("\n".join(found), file=sys.stderr)
    assert len(sources) > 50, "no sources to look at"
    sys.exit(bool(found))


if __name__ == "__main__":
    main()
