// Texts for tests of conversions: random ones of the kinds that converters treat apart, good and bad.
#pragma once

#include <cstdint>
#include <random>
#include <string>
#include <vector>

#include "utils/etc/uttypes.h"

using Units = std::vector<a_utf16>;

// Units in the hub's byte order, UTF-16LE.
inline std::vector<a_byte> u16(const Units & units)
{
    std::vector<a_byte> bytes;
    for (const a_utf16 unit : units) {
        bytes.push_back(static_cast<a_byte>(unit & 0xFF));
        bytes.push_back(static_cast<a_byte>(unit >> 8));
    }
    return bytes;
}

class UnicodeTexts {
public:
    explicit UnicodeTexts(std::mt19937_64 & random) : _random(random) {}

    // About `length` code units of well-formed text.
    Units text(size_t length)
    {
        Units units;
        while (units.size() < length) {
            run(units, below(6), 1 + below(below(8) == 0 ? 70 : 9));
        }
        return units;
    }

    // The same with lone surrogates here and there.
    Units spoilt_units(size_t length)
    {
        Units units = text(length);
        for (size_t i = below(6); i < units.size(); i += 1 + below(40)) {
            units[i] = static_cast<a_utf16>(0xD800 + below(0x800));
        }
        return units;
    }

    // Bytes of a well-formed text, spoilt here and there, cut anywhere.
    std::vector<a_byte> spoilt_bytes(std::vector<a_byte> bytes)
    {
        constexpr a_byte bad[] = {0x80, 0xBF, 0xC0, 0xC1, 0xC2, 0xE0, 0xED, 0xEF, 0xF0,
                                  0xF1, 0xF4, 0xF5, 0xFE, 0xFF, 0x00, 0x41, 0x7F, 0xA0};
        for (size_t i = below(6); i < bytes.size(); i += 1 + below(40)) {
            bytes[i] = below(4) == 0 ? static_cast<a_byte>(below(256)) : bad[below(sizeof(bad))];
        }
        bytes.resize(bytes.size() - below(4) % (bytes.size() + 1));
        return bytes;
    }

    size_t below(size_t limit) { return _random() % limit; }

private:
    void run(Units & units, size_t kind, size_t length)
    {
        for (size_t i = 0; i < length; i++) {
            switch (kind) {
            case 0:
                units.push_back(static_cast<a_utf16>(below(0x80)));
                break;
            case 1: // Latin with accents
                units.push_back(static_cast<a_utf16>(below(5) == 0 ? 0xC0 + below(0xC0) : 0x61 + below(26)));
                break;
            case 2: // words of two-byte characters
                units.push_back(static_cast<a_utf16>(below(7) == 0 ? ' ' : 0x370 + below(0x190)));
                break;
            case 3:
                units.push_back(static_cast<a_utf16>(0x4E00 + below(0x5000)));
                break;
            case 4: // the borders between lengths
                units.push_back(borders[below(std::size(borders))]);
                break;
            default:
                units.push_back(static_cast<a_utf16>(0xD800 + below(0x400)));
                units.push_back(static_cast<a_utf16>(0xDC00 + below(0x400)));
                break;
            }
        }
    }

    static constexpr a_utf16 borders[] = {0, 0x7F, 0x80, 0x7FF, 0x800, 0xD7FF, 0xE000, 0xFFFD, 0xFFFF};
    std::mt19937_64 & _random;
};
