// Lines read from a peer that says and cuts whatever it likes, against a model that cuts the whole input by
// hand.
//
// Input: one byte for the capacity, one for the length of the schedule, the schedule, and what the peer
// sends. A byte of the schedule is the most that one recv gives; 0 is a failed call. The schedule is gone
// through again and again.

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <span>
#include <string_view>
#include <vector>

#include "remote/socks.h"

namespace {

// The peer: what it still sends, and how it cuts it.
struct a_peer {
    std::span<const std::uint8_t> schedule;
    std::string_view text;
    size_t step = 0;

    // The result of one recv of at most `len` bytes: -1 for a failure.
    [[nodiscard]] ssize_t next(size_t len)
    {
        const std::uint8_t most = schedule.empty() ? 255 : schedule[step++ % schedule.size()];
        if (most == 0) {
            return -1;
        }
        return static_cast<ssize_t>(std::min({len, size_t{most}, text.size()}));
    }
};

a_peer peer;

ssize_t fake_recv(int, void * buf, size_t len, int)
{
    const ssize_t count = peer.next(len);
    if (count > 0) {
        std::memcpy(buf, peer.text.data(), count);
        peer.text.remove_prefix(count);
    }
    return count;
}

short ignore_report(const char *)
{
    return 0;
}

// The model: everything that has arrived and isn't read yet, as one text.
class line_model {
public:
    explicit line_model(const a_peer & peer) : _peer(peer) {}

    [[nodiscard]] std::optional<std::string_view> read_line(size_t capacity)
    {
        size_t end = std::string_view::npos;
        while ((end = _held.find("\r\n")) == std::string_view::npos) {
            const ssize_t count = _held.size() < capacity ? _peer.next(capacity - _held.size()) : -1;
            if (count <= 0) {
                hold({_held.end(), _held.end()});
                return std::nullopt;
            }
            // What is held and what comes next stand side by side in the peer's text.
            hold({_held.empty() ? _peer.text.data() : _held.data(), _held.size() + count});
            _peer.text.remove_prefix(count);
        }
        std::string_view line = _held.substr(0, end);
        hold(_held.substr(end + 2));
        while (!line.empty() && (line.back() == '\r' || line.back() == '\n')) {
            line.remove_suffix(1);
        }
        return line;
    }
    [[nodiscard]] std::string_view held() const { return _held; }

private:
    void hold(std::string_view text) { _held = text; }

    a_peer _peer;
    std::string_view _held;
};

void check(bool holds)
{
    if (!holds) {
        std::abort();
    }
}

bool read_one(a_sock * sock, line_model & model, size_t capacity)
{
    std::vector<char> buf(capacity); // no byte to spare
    auto length = static_cast<unsigned int>(capacity);
    const bool read = SocketReadLine(sock, buf.data(), &length);
    const std::optional<std::string_view> expected = model.read_line(capacity);
    check(read == expected.has_value());
    check(std::string_view(SocketPeekBuff(sock), SocketBuffSize(sock)) == model.held());
    if (!read) {
        check(length == capacity);
        return false;
    }
    check(std::string_view(buf.data(), length) == *expected);
    check(buf[length] == '\0');
    return true;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    if (size < 2) {
        return 0;
    }
    const size_t capacity = data[0] * size_t{2} + 2; // 2 to 512
    const size_t schedule = std::min<size_t>(data[1] % 16, size - 2);
    const std::span<const std::uint8_t> text(data + 2 + schedule, size - 2 - schedule);
    peer = {{data + 2, schedule}, {reinterpret_cast<const char *>(text.data()), text.size()}};
    line_model model(peer);

    a_sock_info * info = socket_startup(ignore_report, FALSE);
    info->sock_func.recv = fake_recv;
    a_sock * sock = SocketInit(info, "127.0.0.1");
    // Every line takes two bytes of the text, and a failure may leave bytes to go on with.
    for (size_t failures = 0; failures < 20;) {
        failures += read_one(sock, model, capacity) ? 0 : 1;
    }
    SocketFini(sock);
    return socket_cleanup(info);
}
