// Text for a fragmented iterator that is a block of its own after each fill, of exactly the size told, so
// that reading what was at hand before, or a byte too far, is caught by the sanitizers.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <utility>

#include "icu/orvicu.h"

class MovingText {
public:
    // At first `at_hand` bytes are there; each call gives next_piece() more than it has to.
    MovingText(std::string text, size_t at_hand, std::function<size_t()> next_piece)
        : _text(std::move(text)), _next_piece(std::move(next_piece))
    {
        show(at_hand);
    }

    [[nodiscard]] const uint8_t * bytes() const { return _block.get(); }
    [[nodiscard]] size_t at_hand() const { return _at_hand; }
    [[nodiscard]] size_t size() const { return _text.size(); }
    // What a call asked for that it shouldn't have, or "".
    [[nodiscard]] const std::string & complaint() const { return _complaint; }
    // No byte from here on is needed for what is read next.
    void allow_up_to(size_t end) { _allowed = end; }

    static const uint8_t * fill(void * context, size_t min_index, size_t * new_size)
    {
        auto * self = static_cast<MovingText *>(context);
        if (min_index < self->_at_hand) {
            self->_complaint = "asked for a byte that was at hand";
        }
        if (min_index >= self->_allowed) {
            self->_complaint = "asked for a byte that wasn't needed";
        }
        if (self->_ended) {
            self->_complaint = "asked again after the end";
        }
        self->_ended = min_index >= self->_text.size();
        self->show(std::max(self->_at_hand, min_index + 1 + self->_next_piece()));
        *new_size = self->_at_hand;
        return self->bytes();
    }

private:
    void show(size_t count)
    {
        _at_hand = std::min(count, _text.size());
        _block = std::make_unique<uint8_t[]>(_at_hand);
        memcpy(_block.get(), _text.data(), _at_hand);
    }

    std::string _text;
    std::function<size_t()> _next_piece;
    std::unique_ptr<uint8_t[]> _block;
    size_t _at_hand = 0;
    size_t _allowed = SIZE_MAX;
    bool _ended = false;
    std::string _complaint;
};
