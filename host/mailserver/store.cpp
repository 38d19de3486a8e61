#include "mailserver/store.h"

#include <algorithm>

#include "mailserver/mail_text.h"

namespace mailserver {

// A mailbox that gives its lock back when the session is done with it.
class Store::Locked : public Mailbox {
public:
    Locked(Store & store, std::string user) : _store(store), _user(std::move(user)) {}
    ~Locked() override
    {
        _box.reset(); // before the next session may open it
        {
            const std::lock_guard lock(_store._mutex);
            _store._open.erase(_user);
        }
        _store._released.notify_all();
    }
    Locked(const Locked &) = delete;
    Locked & operator=(const Locked &) = delete;

    void fill(std::unique_ptr<Mailbox> box) { _box = std::move(box); }

    size_t count() const override { return _box->count(); }
    uint64_t size(size_t mail) const override { return _box->size(mail); }
    std::string unique_id(size_t mail) const override { return _box->unique_id(mail); }
    std::string read(size_t mail, std::optional<size_t> body_lines) const override
    {
        return _box->read(mail, body_lines);
    }
    void remove(const std::vector<bool> & deleted) override { _box->remove(deleted); }

private:
    Store & _store;
    std::string _user;
    std::unique_ptr<Mailbox> _box;
};

std::unique_ptr<Mailbox> Store::open(const std::string & user, std::chrono::milliseconds wait)
{
    {
        std::unique_lock lock(_mutex);
        if (!_released.wait_for(lock, wait, [&] { return !_open.contains(user); }))
            return nullptr;
        _open.insert(user);
    }
    auto locked = std::make_unique<Locked>(*this, user); // unlocks if opening throws
    locked->fill(open_unlocked(user));
    return locked;
}

class MemoryStore::Box : public Mailbox {
public:
    Box(MemoryStore & store, std::string user, std::vector<Mail> mails)
        : _store(store), _user(std::move(user)), _mails(std::move(mails))
    {
    }
    size_t count() const override { return _mails.size(); }
    uint64_t size(size_t mail) const override { return _mails.at(mail).text->size(); }
    std::string unique_id(size_t mail) const override { return _mails.at(mail).unique_id; }
    std::string read(size_t mail, std::optional<size_t> body_lines) const override
    {
        const std::string & text = *_mails.at(mail).text;
        return body_lines ? text.substr(0, top_length(text, *body_lines)) : text;
    }
    // Mails delivered since stand behind those of this session, so the flags fit the front of the list.
    void remove(const std::vector<bool> & deleted) override
    {
        const std::lock_guard lock(_store._mutex);
        std::vector<Mail> & held = _store._mails[_user];
        std::vector<Mail> left;
        for (size_t i = 0; i < held.size(); ++i) {
            if (i >= deleted.size() || !deleted[i])
                left.push_back(std::move(held[i]));
        }
        held = std::move(left);
    }

private:
    MemoryStore & _store;
    std::string _user;
    std::vector<Mail> _mails;
};

void MemoryStore::deliver(const std::string & user, std::string_view mail)
{
    const std::lock_guard lock(_mutex);
    _mails[user].push_back(
        {"memory-" + std::to_string(++_serial), std::make_shared<const std::string>(mail)});
}

void MemoryStore::put(const std::string & user, std::string_view mail, std::string unique_id)
{
    const std::lock_guard lock(_mutex);
    _mails[user].push_back({std::move(unique_id), std::make_shared<const std::string>(mail)});
}

std::vector<std::string> MemoryStore::mails(const std::string & user) const
{
    const std::lock_guard lock(_mutex);
    std::vector<std::string> texts;
    if (const auto found = _mails.find(user); found != _mails.end()) {
        for (const Mail & mail : found->second)
            texts.push_back(*mail.text);
    }
    return texts;
}

std::unique_ptr<Mailbox> MemoryStore::open_unlocked(const std::string & user)
{
    const std::lock_guard lock(_mutex);
    return std::make_unique<Box>(*this, user, _mails[user]);
}

// All mails have the same length: numbers are written with a fixed number of digits.
class NullStore::Box : public Mailbox {
public:
    Box(const SyntheticMail & mail, const std::string & body)
        : _mail(mail), _body(body), _header_size(header(0).size())
    {
    }
    size_t count() const override { return _mail.count; }
    uint64_t size(size_t) const override { return _header_size + _body.size(); }
    std::string unique_id(size_t mail) const override { return "synthetic-" + number(mail); }
    std::string read(size_t mail, std::optional<size_t> body_lines) const override
    {
        std::string text = header(mail);
        if (body_lines && *body_lines == 0)
            return text;
        text += _body;
        if (body_lines)
            text.resize(top_length(text, *body_lines));
        return text;
    }
    void remove(const std::vector<bool> &) override {}

private:
    static std::string number(size_t mail)
    {
        const std::string digits = std::to_string(mail);
        return std::string(10 - std::min<size_t>(10, digits.size()), '0') + digits;
    }

    std::string header(size_t mail) const
    {
        std::string text =
            "Date: Thu, 01 Jan 1970 00:00:00 UT\r\nFrom: bench@localhost\r\nSubject: " + _mail.subject +
            "\r\nTo: bench@localhost\r\nMessage-ID: <" + number(mail) + "@localhost>\r\n";
        for (size_t line = 5; line < _mail.header_lines; ++line)
            text += "X-Line-" + std::to_string(line) + ": the quick brown fox jumps over the lazy dog\r\n";
        return text + "\r\n";
    }

    const SyntheticMail & _mail;
    const std::string & _body;
    uint64_t _header_size;
};

NullStore::NullStore(SyntheticMail mail) : _mail(std::move(mail))
{
    constexpr size_t line_length = 70; // and CR LF: 72
    while (_body.size() + 2 < _mail.body_bytes) {
        _body.append(std::min(line_length, _mail.body_bytes - _body.size() - 2), 'x');
        _body += "\r\n";
    }
}

void NullStore::deliver(const std::string &, std::string_view) {}

std::unique_ptr<Mailbox> NullStore::open_unlocked(const std::string &)
{
    return std::make_unique<Box>(_mail, _body);
}

} // namespace mailserver
