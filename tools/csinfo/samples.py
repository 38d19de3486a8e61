"""The sample tables of docs/catalogue.md: one script's letters as a character set made for it orders them."""
import unicodedata

BEGIN = '<!-- samples, written by tools/csinfo/generate.py: begin -->'
END = '<!-- samples: end -->'

# Script, row, and a word on what to look for.
SAMPLES = (
    ('LATIN', 46,
     'Accented letters stand with the plain one. Ligatures and sharp s follow their first letter.'),
    ('GREEK', 47,
     'The micro sign is a mu, and final sigma a sigma.'),
    ('CYRILLIC', 45,
     'Io stands with ie, yi with i, ghe with upturn with ghe; short i is a letter of its own.'),
    ('HEBREW', 49,
     'Final forms stand with their letters. Points have no weight and stand in front of all letters.'),
    ('ARABIC', 50,
     'Hamza and its carriers stand in front of plain alef. Vowel marks and tatweel have no weight.'),
    ('THAI', 23,
     'Vowels follow the consonants. One written in front of its consonant is not taken behind it.'),
)


def shown(code):
    """A combining mark needs something to sit on."""
    character = chr(code)
    return ('\u25CC' if unicodedata.category(character) == 'Mn' else '') + character


def is_of(script, code):
    name = unicodedata.name(chr(code), '')
    return name.startswith(script) or (script == 'GREEK' and name == 'MICRO SIGN')


def groups(tables, page, script):
    """Caseless position to cased position to the characters of the script there."""
    found = {}
    for byte, code in enumerate(page):
        if code is not None and is_of(script, code):
            cased = found.setdefault(tables[1][byte], {}).setdefault(tables[0][byte], [])
            if shown(code) not in cased:
                cased.append(shown(code))
    return sorted(found.items())


def sample(rows, packs, pages, script, row, remark):
    yield f'### {script.capitalize()}: row {row}, {rows[row]["orv"]}'
    yield from ('', remark, '')
    yield from ('| `insensitive` | `sensitive`: characters |', '|---|---|')
    for position, cased in groups(packs[row], pages[row], script):
        cells = ', '.join(f'0x{place:02X}: {" ".join(chars)}' for place, chars in sorted(cased.items()))
        yield f'| 0x{position:02X} | {cells} |'
    yield ''


def into(document, rows, packs, pages):
    """The document with the samples between its two marks made anew."""
    head, rest = document.split(BEGIN)
    tail = rest.split(END)[1]
    lines = [line for script, row, remark in SAMPLES
             for line in sample(rows, packs, pages, script, row, remark)]
    return head + BEGIN + '\n' + '\n'.join(lines) + END + tail
