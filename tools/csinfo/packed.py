"""The rule for the packed collations: five tables of 256 bytes for each character set.

A position is a byte, so there is one level: a letter and its accented forms share a position, which puts
text in the order of a dictionary up to its accents. docs/catalogue.md tells the rule in full and why.
"""
ALPHA, DIGIT, SPACE = 0x20, 0x40, 0x80
# Readers ask only for the low two bits. The bit above them says once more which kind of lead byte it is.
LEAD_KIND = {1: 0x04, 2: 0x08, 3: 0x10}
NOTHING = 0xFFFD
NEXT_LINE = 0x85


def is_c0(code):
    return code < 0x20 or code == 0x7F


def holds_nothing(byte, code):
    """A hole in the code page, or a C1 control, which mostly fills one."""
    return byte >= 0x80 and (code == NOTHING or 0x80 <= code <= 0x9F)


class Page:
    """A single-byte character set: its character behind each byte, None where it has none."""

    def __init__(self, unicode, upper_half):
        self._unicode = unicode
        self._values = list(range(0x80)) + upper_half
        self.chars = [None if holds_nothing(byte, code) else code for byte, code in enumerate(self._values)]
        self._bytes = {}
        for byte, code in enumerate(self.chars):
            if code is not None:
                self._bytes.setdefault(code, byte)

    def tables(self):
        return (self._positions(self._unicode.cased), self._positions(self._unicode.primary),
                self._mapped(self._unicode.lower), self._mapped(self._unicode.upper), self._flags())

    def _positions(self, key):
        """Controls, characters without a weight, all others by `key`, last the bytes that hold nothing."""
        ranks = [self._rank(byte, code, key) for byte, code in enumerate(self.chars)]
        position = {rank: place for place, rank in enumerate(sorted(set(ranks)))}
        return [position[rank] for rank in ranks]

    def _rank(self, byte, code, key):
        if code is None:
            return (3, b'', byte)
        if is_c0(code):
            return (0, b'', byte)
        if not self._unicode.primary(code):
            return (1, self._unicode.tertiary(code), code)
        return (2, key(code), 0)

    def _mapped(self, mapping):
        return [byte if code is None else self._partner(byte, code, mapping(code))
                for byte, code in enumerate(self.chars)]

    def _partner(self, byte, code, other):
        """The byte of the other case, if the page has it and it sorts as the same letter."""
        if other == code or other not in self._bytes:
            return byte
        same_letter = self._unicode.primary(other) == self._unicode.primary(code)
        return self._bytes[other] if same_letter else byte

    def _flags(self):
        return [self._flag(code, value) for code, value in zip(self.chars, self._values)]

    def _flag(self, code, value):
        if code is None:
            return SPACE if value == NEXT_LINE else 0
        return (ALPHA * self._unicode.is_alphabetic(code) | DIGIT * self._unicode.is_decimal_digit(code)
                | SPACE * self._unicode.is_white_space(code))


def multi_byte(ascii_tables, leads):
    """Text orders by code: lead bytes stay in place, behind the sorted ASCII characters."""
    *four, flags = ascii_tables
    flags = flags[:0x80] + [0] * 0x80
    for trailing in (1, 2, 3):
        for byte in leads.get(str(trailing), ()):
            flags[byte] = trailing | LEAD_KIND[trailing]
    for byte in leads.get('letters', ()):
        flags[byte] |= ALPHA
    for byte in leads.get('space', ()):
        flags[byte] |= SPACE
    return (*four, flags)


def all_pages(unicode, upper_halves):
    return {row: Page(unicode, upper) for row, upper in upper_halves.items()}


def all_tables(pages, leads):
    """Row number to its five tables."""
    tables = {row: page.tables() for row, page in pages.items()}
    tables.update({row: multi_byte(tables[0], kinds) for row, kinds in leads.items()})
    return dict(sorted(tables.items()))
