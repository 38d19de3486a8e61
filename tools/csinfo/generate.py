#!/usr/bin/env python3
"""Writes the tables of the catalogue, and the samples in its page, from the data files beside this script.

  generate.py            writes src/utils/locale/csinfo.cpp, src/utils/unix/known_locales.cpp and the sample
                         tables of docs/catalogue.md
  generate.py --check    compares with them instead: ends with 1 if a byte differs

Where the values come from: charsets.txt, canonical_labels.txt, labels.txt, languages.txt, collations.txt,
locales.txt, upper128.txt and lead_bytes.txt hold them and tell their sources; the packed collations follow
from upper128.txt and lead_bytes.txt by the rule of packed.py over the root collation of the ICU version that
root_collation.py names. Ends with 77 if that version isn't installed, or with 1 where CI is set to true,
since there it has to be.
"""
import os
import pathlib
import sys

sys.dont_write_bytecode = True # the check must leave no trace in the source tree

import catalogue
import packed
import root_collation
import samples

ROOT = catalogue.HERE.parent.parent
PACKED_FIELDS = ('sensitive', 'insensitive', 'tolower', 'toupper', 'flags')
BYTES_PER_LINE = 16
WORDS_PER_LINE = 8
SKIPPED = 77


def banner(inputs):
    return ['// Generated: change the input instead, then run the generator again.',
            '// Generator: tools/csinfo/generate.py',
            f'// Input: {inputs}',
            '// Command: python3 tools/csinfo/generate.py']


def text(value):
    """A C++ string literal of the value in ISO-8859-1, or nullptr."""
    if value is None:
        return 'nullptr'
    plain = value.replace('\\', '\\\\').replace('"', '\\"')
    return '"' + ''.join(chr(b) if b < 0x80 else f'\\{b:03o}' for b in plain.encode('latin-1')) + '"'


def numbers(values, digits, per_line, indent):
    for start in range(0, len(values), per_line):
        yield indent + ' '.join(f'0x{value:0{digits}X},' for value in values[start:start + per_line])


def label_arrays(rows):
    for number, row in enumerate(rows):
        yield f'constexpr a_charset_label _cslabels_{number}[] = {{'
        yield from (f'    {{{text(label)}, 0x{mask:X}}},' for label, mask in row['labels'])
        yield from ('    {nullptr, 0},', '};', '')


def upper_half_arrays(tables):
    for number, values in tables.items():
        yield f'constexpr a_utf16 _to_utf16_upper128_{number}[128] = {{'
        yield from numbers(values, 4, WORDS_PER_LINE, '    ')
        yield from ('};', '')


def packed_arrays(tables):
    for number, five in tables.items():
        yield f'constexpr a_packed_collation_order _packed_collation_{number} = {{'
        for name, values in zip(PACKED_FIELDS, five):
            yield f'    .{name} = {{'
            yield from numbers(values, 2, BYTES_PER_LINE, '        ')
            yield '    },'
        yield from ('};', '')


def canonical_pointer(number, row, standard):
    names = [label for label, _ in row['labels']]
    index = len(names) if row[standard] is None else names.index(row[standard])
    return f'&_cslabels_{number}[{index}]'


def charset_table(rows, upper, packs):
    yield 'constinit const CharsetInfo UTLocale::_charset_info[NUM_CHARSETS] = {'
    for number, row in enumerate(rows):
        subst = ', '.join(f'0x{byte:02X}' for byte in row['subst'])
        yield f'    {{ // {number}: {row["orv"]}'
        yield from (f'        .{f"_{standard}_canonical"} = {canonical_pointer(number, row, standard)},'
                    for standard in catalogue.CANONICAL)
        yield f'        ._all_labels = _cslabels_{number},'
        upper_half = f'_to_utf16_upper128_{number}' if number in upper else 'nullptr'
        collation = f'&_packed_collation_{number}' if number in packs else 'nullptr'
        yield f'        ._to_utf16_upper128 = {upper_half},'
        yield f'        ._chartab_cid = {row["chartab"]},'
        yield f'        ._microsoft_cid = {row["windows"]},'
        yield f'        ._min_char_size = {row["min"]},'
        yield f'        ._max_char_size = {row["max"]},'
        yield f'        ._unique_identifier = {row["id"]},'
        yield f'        ._substitution_character_length = {len(row["subst"])},'
        yield f'        ._substitution_character = {{{subst}}},'
        yield f'        ._packed_collation = {collation},'
        yield '    },'
    yield from ('};', '')


def keeps_order(positions, lower, upper):
    """Has every byte the position of what its case is mapped to?"""
    return all(positions[lower[byte]] == positions[byte] == positions[upper[byte]] for byte in range(256))


def case_mapping_table(rows, packs):
    yield '// Whether mapping the case keeps the order, where case counts and where it does not'
    yield 'constinit const bool UTLocale::_case_mapping_keeps_order[NUM_CHARSETS][2] = {'
    for number, _ in enumerate(rows):
        keeps = ('false', 'false')
        if number in packs:
            sensitive, insensitive, lower, upper, _ = packs[number]
            keeps = [str(keeps_order(positions, lower, upper)).lower() for positions in (sensitive, insensitive)]
        yield f'    {{{", ".join(keeps)}}}, // {number}'
    yield from ('};', '')


def language_table(rows):
    yield 'constinit const LanguageInfo UTLocale::_language_info[NUM_LANGUAGES + 1] = {'
    for number, (_, enumerator, label, second, iso) in enumerate(rows):
        yield f'    {{-1, {text(label)}, {text(second)}, {text(iso)}}}, // {number}: {enumerator}'
    yield from ('    {-1, nullptr, nullptr, nullptr},', '};')
    yield from (f'static_assert({row[1]} == {number});' for number, row in enumerate(rows))
    yield ''


def collation_table(rows):
    yield '// label, character set, sort orders of the sibling family with and without case,'
    yield '// supported languages, default languages, description, hidden, type, custom'
    yield 'constinit const CollationInfoPod UTLocale::_collation_info[NUM_COLLATIONS] = {'
    for number, row in enumerate(rows):
        charset = 'nullptr' if row['charset'] is None else f'&UTLocale::_charset_info[{row["charset"]}]'
        kind = 'LEGACY_COLLATION' if row['kind'] == 'L' else 'ICU_COLLATION'
        yield f'    {{ // {number}'
        languages = f'0x{row["supported"]:X}, 0x{row["default"]:X}'
        yield f'        {text(row["label"])}, {charset}, {text(row["case"])}, {text(row["caseless"])},'
        yield f'        {languages}, {row["strid"]}, {row["hidden"]}, {kind}, 0,'
        yield '    },'
    yield '};'


def csinfo(rows, upper, packs):
    languages = catalogue.languages()
    yield from banner('charsets.txt, canonical_labels.txt, labels.txt, languages.txt, collations.txt,\n'
                      '// upper128.txt and lead_bytes.txt beside the generator; for the packed collations\n'
                      '// (rule in docs/catalogue.md) root collation and character properties of\n'
                      f'// ICU {root_collation.ICU_VERSION}')
    yield from ('// clang-format off', '#include "utils/locale/utlocale.h"', '', 'namespace {', '')
    yield from label_arrays(rows)
    yield from upper_half_arrays(upper)
    yield from packed_arrays(packs)
    yield from ('} // namespace', '')
    yield f'static_assert(UTLocale::NUM_CHARSETS == {len(rows)});'
    yield f'static_assert(UTLocale::NUM_LANGUAGES == {len(languages)});'
    collations = catalogue.collations(languages)
    yield from (f'static_assert(UTLocale::NUM_COLLATIONS == {len(collations)});', '')
    yield from charset_table(rows, upper, packs)
    yield from case_mapping_table(rows, packs)
    yield from language_table(languages)
    yield from collation_table(collations)


def known_locales():
    pairs = catalogue.locales()
    yield from banner('locales.txt beside the generator')
    yield from ('// clang-format off', '#include "utils/unix/localias.h"', '')
    yield from (f'static_assert(NUM_KNOWN_LOCALES == {len(pairs)});', '')
    yield 'constinit const LocaleTable known_locales[NUM_KNOWN_LOCALES + 1] = {'
    yield from (f'    {{{text(name)}, {text(normal)}}},' for name, normal in pairs)
    yield from ('    {nullptr, nullptr},', '};')


def contents():
    """Path to bytes of all that is generated."""
    rows = catalogue.charsets()
    upper = catalogue.upper_halves(rows)
    pages = packed.all_pages(root_collation.Unicode(), upper)
    packs = packed.all_tables(pages, catalogue.lead_bytes(rows))
    catalogue.require(len(packs) == catalogue.PACKED_TABLES, f'{len(packs)} packed collations')
    document = ROOT / 'docs/catalogue.md'
    chars = {row: page.chars for row, page in pages.items()}
    made = samples.into(document.read_text(encoding='utf-8'), rows, packs, chars)
    return {ROOT / 'src/utils/locale/csinfo.cpp': joined(csinfo(rows, upper, packs)),
            ROOT / 'src/utils/unix/known_locales.cpp': joined(known_locales()),
            document: made.encode('utf-8')}


def joined(source):
    return ('\n'.join(source) + '\n').encode('ascii')


def differs(path, content):
    """Tells on standard error in which line the file and the content part."""
    old = path.read_bytes() if path.exists() else b''
    if old == content:
        return False
    ours, theirs = content.splitlines(), old.splitlines()
    line = next((i for i, (a, b) in enumerate(zip(ours, theirs)) if a != b), min(len(ours), len(theirs)))
    print(f'{path}:{line + 1}: differs from what {pathlib.Path(__file__).name} makes of the data files',
          file=sys.stderr)
    return True


def main(arguments):
    if arguments not in ([], ['--check']):
        print(__doc__, file=sys.stderr)
        return 2
    try:
        made = contents()
    except catalogue.BadData as error:
        print(error, file=sys.stderr)
        return 1
    except root_collation.NoIcu as error:
        print(f'cannot generate the packed collations: {error}', file=sys.stderr)
        return 1 if os.environ.get('CI') == 'true' else SKIPPED
    if arguments:
        return 1 if any([differs(path, content) for path, content in made.items()]) else 0
    for path, content in made.items():
        path.write_bytes(content)
    return 0


if __name__ == '__main__':
    sys.exit(main(sys.argv[1:]))
