#!/usr/bin/env python3
"""Compares every #include of src/ and tools/ with the arrows that the CMake files declare.

    check_arrows.py [CHECKOUT]

A folder may use those that src/CMakeLists.txt names before it, if its own CMakeLists.txt says so: PUBLIC if one of its
headers needs the other folder, PRIVATE if only its sources do. An include without such a line, a line without such an
include, a line of the wrong kind and an arrow that points up are faults; each is a line of output, and the exit status
is 1. Libraries of third parties are held to the same rule.
"""

import re
import sys
from pathlib import Path

# The header that shows the use of a library which is not ours.
FOREIGN = (
    (re.compile(r'xercesc/'), 'XercesC::XercesC'),
    (re.compile(r'openssl/(?:ssl|tls1)\.h'), 'OpenSSL::SSL'),
    (re.compile(r'openssl/'), 'OpenSSL::Crypto'),
    (re.compile(r'security/'), 'pam'),
)
INCLUDE = re.compile(r'^\s*#\s*include\s*([<"])([^>"]+)[>"]', re.MULTILINE)
WORDS = {'PUBLIC', 'PRIVATE', 'INTERFACE'}
# Part of the C library, whose headers tell nothing.
IGNORED = {'Threads::Threads'}


def without_comments(text):
    return re.sub(r'#.*', '', text)


class Library:
    """One target with the files that belong to it and the arrows that it declares."""

    def __init__(self, name, folder, files, arrows):
        self.name = name
        self.folder = folder
        self.files = files
        self.arrows = arrows


def arrows_of(words):
    """{library: kind} of the words behind a library's name in target_link_libraries or qdv_library."""
    arrows, kind = {}, None
    for word in words:
        if word in WORDS:
            kind = word
        elif kind and not word.startswith('-') and word not in IGNORED:
            arrows[word] = kind
    return arrows


def declared(cmake):
    """{library: words} for each library or program that a CMakeLists.txt makes."""
    found = {}
    for call, body in re.findall(r'\b(qdv_library|target_link_libraries)\(([^)]*)\)', without_comments(cmake.read_text())):
        name, *words = body.split()
        if call == 'qdv_library':
            cut = [i for i, word in enumerate(words) if word in WORDS]
            words = words[cut[0]:] if cut else []
        found.setdefault(name, []).extend(words)
    return found


def libraries(top):
    """The libraries of src/ in the order of their floors, then those of tools/."""
    result = []
    for folder in re.findall(r'add_subdirectory\(([^)]+)\)', without_comments((top / 'src/CMakeLists.txt').read_text())):
        path = top / 'src' / folder
        words = declared(path / 'CMakeLists.txt')
        main = {path / 'main.cpp'}
        files = set(path.glob('*.h')) | set(path.glob('*.cpp'))
        name = 'qdv_' + folder
        result.append(Library(name, folder, files - main, arrows_of(words.get(name, []))))
    words = declared(top / 'tools/CMakeLists.txt')
    path = top / 'tools/qdvctl'
    files = set(path.glob('*.h')) | set(path.glob('*.cpp'))
    result.append(Library('qdv_ctl', 'qdvctl', files, arrows_of(words.get('qdv_ctl', []))))
    return result


def used(library, by_folder):
    """{library: (kind, file, header)} for everything that the files of a library include."""
    uses = {}
    for path in sorted(library.files, key=lambda each: (each.suffix != '.h', each)):
        for quote, header in INCLUDE.findall(path.read_text(errors='replace')):
            if quote == '"':
                other = by_folder.get(header.partition('/')[0])
                name = other.name if other else None
            else:
                name = next((name for pattern, name in FOREIGN if pattern.match(header)), None)
            if name is None or name == library.name:
                continue
            kind = 'PUBLIC' if path.suffix == '.h' else 'PRIVATE'
            uses.setdefault(name, (kind, path, header))
    return uses


def faults(top):
    every = libraries(top)
    by_folder = {library.folder: library for library in every}
    floor = {library.name: index for index, library in enumerate(every)}
    for library in every:
        uses = used(library, by_folder)
        for name, (kind, path, header) in uses.items():
            where = f'{path.relative_to(top)} includes {header}'
            if floor.get(name, -1) > floor[library.name]:
                yield f'{where}: {name} stands above {library.name}'
            elif name not in library.arrows and not reaches(library, name, floor, every):
                yield f'{where}: {library.name} does not declare {name}'
            elif name in library.arrows and library.arrows[name] != kind:
                yield f'{library.name}: {name} is {library.arrows[name]} and needed as {kind} ({where})'
        for name in library.arrows:
            if floor.get(name, -1) > floor[library.name]:
                yield f'{library.name} declares {name}, which stands above it'
            elif name not in uses:
                yield f'{library.name} declares {name} and includes nothing of it'


def reaches(library, name, floor, every):
    """Whether a library that is not ours comes along with a public arrow; ours are always declared."""
    if name in floor:
        return False
    return any(arrow in floor and every[floor[arrow]].arrows.get(name) == 'PUBLIC' for arrow in library.arrows)


def main():
    top = Path(sys.argv[1] if len(sys.argv) > 1 else '.').resolve()
    found = list(faults(top))
    for fault in found:
        print(f'arrows: {fault}')
    sys.exit(1 if found else 0)


if __name__ == '__main__':
    main()
