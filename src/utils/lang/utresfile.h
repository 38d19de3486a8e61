// Language resource files: the numbered strings of one language in one character set. The format is told in
// docs/resource-file.md.
//
// A file is mapped, not read: opening parses nothing and a look-up walks a small tree with the string's
// number. Opening believes the header alone, and look-ups believe nothing: a table, an entry or a text that
// doesn't lie in the file means that there is no such string. One thing can't be guarded: a file that is made
// shorter while it is mapped ends the process with SIGBUS at the next look-up that needs what went. So a file
// that may be in use is replaced by a new one, never written into.
//
// Units: bytes; sizes count the terminator, lengths don't. Ownership: the object owns the mapping. Failure:
// FALSE or 0; nothing is reported. Threads: opening and closing belong to one thread, with no look-up beside
// them; between them everything reads only, on any number of threads.
#pragma once

#include "utils/etc/utdll.h"
#include "utils/etc/uttypes.h"

struct CharsetInfo;
struct LanguageInfo;

// The header of a resource file, as it lies in the file.
struct ORVResFileImage {
    uint32 _signature;     // RESO
    uint32 _endian_detect; // as this machine reads it
    uint32 _version;       // of the format
    a_byte _level_bits[4]; // width of each level of the tree; 16 bits together
    uint32 _root_offset;

    // Is this the header of a file of `img_size` bytes? Nothing behind the header is looked at.
    [[nodiscard]] a_bool IsValid(size_t img_size) const;
};
static_assert(sizeof(ORVResFileImage) == 20 && alignof(ORVResFileImage) == 4);

// A source of numbered strings.
class UTResFile {
public:
    UTResFile() = default;
    virtual ~UTResFile() = default;
    UTResFile(const UTResFile &) = delete;
    UTResFile & operator=(const UTResFile &) = delete;

    // Open this very file, or the file of a language, which is looked for; `vx`: of the family of that name.
    // What was open before is closed. FALSE: there is no such file, it isn't a valid one, or nobody knows the
    // language.
    virtual a_bool Open(const char * path) = 0;
    virtual a_bool Open(const char * language, a_bool vx);
    virtual a_bool Open(const LanguageInfo * langinfo, a_bool vx);
    virtual void Close() = 0;

    // The library that holds the strings, for sources of that kind; null otherwise.
    [[nodiscard]] virtual a_dll_handle GetDLLHandle() const = 0;
    // Are the strings there as UTF-16, too?
    [[nodiscard]] virtual a_bool UTF16Supported() = 0;

    // The length of string `id`, of which only the low 16 bits count. The string is in `buffer` then, cut to
    // it and terminated. Missing, or a `buflen` of 0: 0, with `buffer` as it was.
    virtual size_t GetString(uint32 id, char * buffer, size_t buflen) = 0;
    // The same in UTF-16. Length and size are in bytes here, too, and `buffer` takes one unit at least if
    // `buflen` isn't 0; its address may be odd.
    virtual size_t GetStringUTF16(uint32 id, uint16 * buffer, size_t buflen) = 0;

    // The name of a language's file, without a directory, cut to `base_name_size`.
    virtual void get_resource_file_base_name(char * base_name, size_t base_name_size, const char * iso_label,
                                             a_bool vx) = 0;

    [[nodiscard]] a_bool IsOpen() const { return _is_open; }
    // Of the strings; null if the file doesn't say.
    [[nodiscard]] const CharsetInfo * GetSrcCharset() const { return _src_csinfo; }
    // The last one that a file was opened by, also where another was opened in another way since; null if
    // none was.
    [[nodiscard]] const LanguageInfo * GetLanguage() const { return _langinfo; }
    // Of the strings; 0 if the file doesn't say.
    [[nodiscard]] uint32 GetVersion();

    // The full path of a language's file. FALSE: it isn't found, and `path` is empty. A path that is found
    // and doesn't fit leaves `path` as it is.
    [[nodiscard]] a_bool find_resource_file(char * path, size_t pathsize, const char * iso_label, a_bool vx);
    // The same by language; FALSE for null, too, which leaves `path` as it is.
    [[nodiscard]] a_bool FindResourceFile(char * path, size_t pathsize, const LanguageInfo * langinfo,
                                          a_bool vx);

protected:
    a_bool _is_open = FALSE;
    const CharsetInfo * _src_csinfo = nullptr;
    const LanguageInfo * _langinfo = nullptr;
};

// A resource file.
class UTORVResFile : public UTResFile {
public:
    UTORVResFile() = default;
    ~UTORVResFile() override;

    using UTResFile::Open;
    a_bool Open(const char * path) override;
    // The last step of the above: takes over a mapped image, which is unmapped when the object closes, at
    // once if it isn't valid.
    a_bool Open(const ORVResFileImage * image, size_t image_size);
    void Close() override;

    [[nodiscard]] a_dll_handle GetDLLHandle() const override { return nullptr; }
    [[nodiscard]] a_bool UTF16Supported() override { return FALSE; }
    size_t GetString(uint32 id, char * buffer, size_t buflen) override;
    // There are none: 0, with `buffer` empty.
    size_t GetStringUTF16(uint32 id, uint16 * buffer, size_t buflen) override;
    void get_resource_file_base_name(char * base_name, size_t base_name_size, const char * iso_label,
                                     a_bool vx) override;

    // The name depends on the system's character set, where a language has files for several.
    static void GetResourceFileBaseName(char * base_name, size_t base_name_size, const char * iso_label,
                                        a_bool vx);

private:
    friend struct ResFileInspector; // tests look at what a failed opening leaves

    void initialize();
    void read_levels();
    void read_charset();
    template<typename Number> [[nodiscard]] bool read(size_t offset, Number & number) const;
    [[nodiscard]] bool find_record(uint32 id, size_t & offset) const;

    int _fd = -1; // while the file is opened
    const ORVResFileImage * _img = nullptr;
    size_t _img_size = 0;
    uint32 _num_levels = 0;
    a_byte _level_bits[4] = {};
    a_byte _level_shift[4] = {};
    uint16 _level_mask[4] = {};
    const uint32 * _root = nullptr; // at any address
};
