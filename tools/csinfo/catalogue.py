"""Reads the data files of the catalogue and checks that they fit together."""
import pathlib

HERE = pathlib.Path(__file__).resolve().parent

CHARSETS = 57
LABELS = 434
LANGUAGES = 26
COLLATIONS = 70
LOCALES = 691
UPPER_HALVES = 41
PACKED_TABLES = 55

STANDARDS = {'ORV': 0x1, 'IANA': 0x2, 'MIME': 0x4, 'JAVA': 0x8, 'WINDOWS': 0x10, 'ICU_TABLE': 0x20,
             'IBM': 0x40, 'ICU': 0x80, 'KEP': 0x100}
CANONICAL = ('orv', 'iana', 'mime', 'icu', 'java', 'kep')
UNUSED_ID = 26


class BadData(Exception):
    """A data file that doesn't hold what it should; the text names file and row."""


def require(condition, text):
    if not condition:
        raise BadData(text)


def lines(name):
    for line in (HERE / name).read_text(encoding='utf-8').splitlines():
        if line and not line.startswith('#'):
            yield line


def records(name, columns):
    """The lines of a file as lists of fields; a field of - is None."""
    for line in lines(name):
        fields = [None if field == '-' else field for field in line.split()]
        require(len(fields) == columns, f'{name}: not {columns} columns: {line}')
        yield fields


def charsets():
    rows = []
    for row, ident, label, least, most, subst, chartab, windows in records('charsets.txt', 8):
        require(int(row) == len(rows), f'charsets.txt: row {row} out of order')
        require(int(ident) == len(rows) + (len(rows) >= UNUSED_ID), f'charsets.txt: row {row} has id {ident}')
        subst = bytes.fromhex(subst)
        require(1 <= len(subst) <= 3, f'charsets.txt: row {row} has substitution bytes of a wrong length')
        rows.append({'id': int(ident), 'orv': label, 'min': int(least), 'max': int(most), 'subst': subst,
                     'chartab': int(chartab), 'windows': int(windows)})
    require(len(rows) == CHARSETS, f'charsets.txt: {len(rows)} rows')
    for row, iana, mime, icu, java, kep in records('canonical_labels.txt', 6):
        require('iana' not in rows[int(row)], f'canonical_labels.txt: row {row} twice')
        rows[int(row)].update(iana=iana, mime=mime, icu=icu, java=java, kep=kep)
    add_labels(rows)
    return rows


def mask(standards):
    return sum(STANDARDS[name] for name in standards.split(','))


def add_labels(rows):
    for row in rows:
        row['labels'] = []
    last = 0
    for row, label, standards in records('labels.txt', 3):
        require(int(row) >= last, f'labels.txt: row {row} out of order')
        last = int(row)
        rows[last]['labels'].append((label, mask(standards)))
    require(sum(len(row['labels']) for row in rows) == LABELS, f'labels.txt: not {LABELS} labels')
    for number, row in enumerate(rows):
        names = [label for label, _ in row['labels']]
        require(len(set(names)) == len(names), f'labels.txt: row {number} has a label twice')
        for standard in CANONICAL:
            require(row[standard] is None or row[standard] in names,
                    f'canonical_labels.txt: {row[standard]} is no label of row {number}')


def languages():
    rows = list(records('languages.txt', 5))
    require([int(row[0]) for row in rows] == list(range(LANGUAGES)), 'languages.txt: ids out of order')
    return rows


def language_set(text, iso):
    if text is None:
        return 0
    if text == 'all':
        return (1 << len(iso)) - 1
    return sum(1 << iso.index(label) for label in text.split(','))


def collations(language_rows):
    iso = [row[4] for row in language_rows]
    rows = []
    for fields in records('collations.txt', 10):
        row, label, charset, kind, case, caseless, strid, hidden, supported, default = fields
        require(int(row) == len(rows), f'collations.txt: row {row} out of order')
        require(kind in ('L', 'I'), f'collations.txt: row {row} has type {kind}')
        require((charset is None) == (kind == 'I'), f'collations.txt: row {row}: only ICU takes any set')
        rows.append({'label': label, 'charset': None if charset is None else int(charset), 'kind': kind,
                     'case': case, 'caseless': caseless, 'strid': int(strid), 'hidden': int(hidden),
                     'supported': language_set(supported, iso), 'default': language_set(default, iso)})
    require(len(rows) == COLLATIONS, f'collations.txt: {len(rows)} rows')
    return rows


def locales():
    """All (name, normal form) pairs in order, the short notation of the file written out."""
    pairs = []
    for line in lines('locales.txt'):
        normal, names = line.split(': ')
        stem = normal.split('.')[0]
        pairs += [(name.replace('~', stem), normal) for name in names.split()]
    require(len(pairs) == LOCALES, f'locales.txt: {len(pairs)} names')
    require(len({name for name, _ in pairs}) == LOCALES, 'locales.txt: a name stands there twice')
    return pairs


def upper_halves(charset_rows):
    """Row number to the 128 Unicode values of its bytes 0x80 to 0xFF."""
    tables = {}
    for line in lines('upper128.txt'):
        fields = line.split()
        if len(fields) == 2:
            row = int(fields[0])
            require(charset_rows[row]['orv'] == fields[1], f'upper128.txt: row {row} is not {fields[1]}')
            tables[row] = []
        else:
            tables[row] += [int(field, 16) for field in fields]
    single = [number for number, row in enumerate(charset_rows) if row['max'] == 1]
    require(list(tables) == single and len(tables) == UPPER_HALVES, 'upper128.txt: not the single-byte rows')
    require(all(len(values) == 128 for values in tables.values()), 'upper128.txt: a table of a wrong length')
    return tables


def byte_ranges(ranges):
    for part in ranges:
        first, _, last = part.partition('-')
        yield from range(int(first, 16), int(last or first, 16) + 1)


def lead_bytes(charset_rows):
    """Row number to kind ('1', '2', '3', 'letters', 'space') to the set of its bytes."""
    rows = {}
    for line in lines('lead_bytes.txt'):
        row, kind, *ranges = line.split()
        require(kind in ('1', '2', '3', 'letters', 'space'), f'lead_bytes.txt: kind {kind}')
        rows.setdefault(int(row), {})[kind] = set(byte_ranges(ranges))
    multi = [number for number, row in enumerate(charset_rows) if row['max'] > 1 and row['min'] == 1]
    require(list(rows) == multi, 'lead_bytes.txt: not the multi-byte rows')
    return rows
