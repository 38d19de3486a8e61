"""ICU's root collation and character properties, straight from the shared libraries.

The version is fixed: another one may order symbols otherwise, and the tables would change under their users.
"""
import ctypes

ICU_MAJOR = 72
ICU_VERSION = '72.1'
PACKAGE = f'libicu{ICU_MAJOR}'

# From unicode/ucol.h and unicode/uchar.h; these numbers are part of ICU's stable interface.
UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE = 1, 21
UCOL_CASE_LEVEL, UCOL_ON = 3, 17
UCOL_PRIMARY, UCOL_TERTIARY = 0, 2
UCHAR_ALPHABETIC, UCHAR_WHITE_SPACE = 0, 31
U_DECIMAL_DIGIT_NUMBER = 9


class NoIcu(Exception):
    """The one version of ICU that the tables are made with isn't here; the text says what to install."""


def load(name):
    try:
        return ctypes.CDLL(f'{name}.so.{ICU_MAJOR}')
    except OSError as error:
        missing = f'the tables are made with ICU {ICU_VERSION}; install the package {PACKAGE} ({error})'
        raise NoIcu(missing) from error


class Unicode:
    def __init__(self):
        self._uc = load('libicuuc')
        self._i18n = load('libicui18n')
        if self.version() != ICU_VERSION:
            raise NoIcu(f'the tables are made with ICU {ICU_VERSION}, and this is {self.version()}')
        self._primary = self._collator(UCOL_PRIMARY, False)
        self._cased = self._collator(UCOL_PRIMARY, True)
        self._tertiary = self._collator(UCOL_TERTIARY, False)

    @staticmethod
    def _function(library, name, result=ctypes.c_int32):
        function = getattr(library, f'{name}_{ICU_MAJOR}')
        function.restype = result
        return function

    def version(self):
        parts = (ctypes.c_uint8 * 4)()
        self._function(self._uc, 'u_getVersion', None)(parts)
        return f'{parts[0]}.{parts[1]}'

    def _collator(self, strength, case_level):
        status = ctypes.c_int(0)
        opened = ctypes.c_void_p(
            self._function(self._i18n, 'ucol_open', ctypes.c_void_p)(b'root', ctypes.byref(status)))
        set_attribute = self._function(self._i18n, 'ucol_setAttribute', None)
        # Said aloud: the other setting would empty the primary keys of all punctuation.
        set_attribute(opened, UCOL_ALTERNATE_HANDLING, UCOL_NON_IGNORABLE, ctypes.byref(status))
        if case_level:
            set_attribute(opened, UCOL_CASE_LEVEL, UCOL_ON, ctypes.byref(status))
        self._function(self._i18n, 'ucol_setStrength', None)(opened, strength)
        if status.value > 0:
            raise NoIcu(f'ICU {ICU_VERSION} has no root collation (error {status.value})')
        return opened

    def _key(self, collator, code):
        text = chr(code).encode('utf-16-le')
        units = len(text) // 2
        key = (ctypes.c_uint8 * 256)()
        length = self._function(self._i18n, 'ucol_getSortKey')(collator, text, units, key, len(key))
        if not 0 < length <= len(key):
            raise NoIcu(f'ICU {ICU_VERSION} has no sort key for U+{code:04X}')
        return bytes(key[:length - 1])

    def primary(self, code):
        """What the character is, accent and case left out; empty for a character of no weight of its own."""
        return self._key(self._primary, code)

    def cased(self, code):
        """The same with upper and lower case apart, lower case first."""
        return self._key(self._cased, code)

    def tertiary(self, code):
        return self._key(self._tertiary, code)

    def lower(self, code):
        return self._function(self._uc, 'u_tolower')(code)

    def upper(self, code):
        return self._function(self._uc, 'u_toupper')(code)

    def is_alphabetic(self, code):
        return self._has(code, UCHAR_ALPHABETIC)

    def is_white_space(self, code):
        return self._has(code, UCHAR_WHITE_SPACE)

    def is_decimal_digit(self, code):
        return self._function(self._uc, 'u_charType', ctypes.c_int8)(code) == U_DECIMAL_DIGIT_NUMBER

    def _has(self, code, which):
        return self._function(self._uc, 'u_hasBinaryProperty', ctypes.c_int8)(code, which) != 0
