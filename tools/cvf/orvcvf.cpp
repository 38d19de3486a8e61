// Writes, lists and checks conversion files.
//
//   orvcvf write FILE [CHARSET...]  byte maps between the named character sets, or between all single-byte
//   ones orvcvf list FILE                the character sets of a file, and for how many destinations each has
//   a map orvcvf check FILE               does the library read each map, and is it what the catalogue's
//   tables give?
//
// Exit status: 0; 1 if the file fails, with the reason on stderr; 2 for a wrong call.

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <iterator>
#include <memory>

#include "tools/cvf/cvf_file.h"

namespace {

using Charsets = std::vector<const CharsetInfo *>;

int fail(const char * subject, const char * reason)
{
    std::fprintf(stderr, "orvcvf: %s: %s\n", subject, reason);
    return 1;
}

std::vector<a_byte> read_file(const char * path)
{
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

int write(const char * path, std::span<char * const> names)
{
    Charsets charsets;
    for (const CharsetInfo & row : UTLocale::_charset_info) {
        if (names.empty() && !row.is_mbcs()) {
            charsets.push_back(&row);
        }
    }
    for (const char * name : names) {
        const CharsetInfo * const row = UTLocale::GetCharsetInfoFromLabel(name, CS_STD_ANY);
        if (row == nullptr || row->is_mbcs()) {
            return fail(name, row == nullptr ? "no such character set" : "not single-byte");
        }
        if (std::find(charsets.begin(), charsets.end(), row) == charsets.end()) {
            charsets.push_back(row);
        }
    }
    const std::vector<a_byte> bytes = make_cvf_file(charsets);
    std::ofstream file(path, std::ios::binary);
    file.write(reinterpret_cast<const char *>(bytes.data()), static_cast<std::streamsize>(bytes.size()));
    file.close();
    return file ? 0 : fail(path, "can't be written");
}

int list(const char * path)
{
    const auto contents = parse_cvf_file(read_file(path));
    if (!contents) {
        return fail(path, "no conversion file of this version");
    }
    std::printf("%s\n", contents->info.c_str());
    const size_t count = contents->names.size();
    for (size_t i = 0; i < count; i++) {
        const auto row = contents->cells.begin() + static_cast<ptrdiff_t>(i * count);
        const auto maps = std::count_if(row, row + static_cast<ptrdiff_t>(count),
                                        [](const CvfHeaderRec & cell) { return cell.isBytemap() != 0; });
        std::printf("%-32s %td\n", contents->names[i].c_str(), maps);
    }
    return 0;
}

// One pair, through the library's reader.
bool is_as_the_catalogue(std::FILE * file, const CharsetInfo & dest, const CharsetInfo & src)
{
    CvfMap map;
    return read_cvf_map(file, map.data(), &dest, &src) && map == make_cvf_map(dest, src);
}

int check(const char * path)
{
    const auto contents = parse_cvf_file(read_file(path));
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> file(std::fopen(path, "rb"), std::fclose);
    if (!contents || !file) {
        return fail(path, "no conversion file of this version");
    }
    Charsets charsets;
    for (const std::string & name : contents->names) {
        charsets.push_back(UTLocale::GetCharsetInfoFromLabel(name.c_str(), CS_STD_ANY));
        if (charsets.back() == nullptr || charsets.back()->is_mbcs()) {
            return fail(name.c_str(), "no single-byte character set");
        }
    }
    int failed = 0;
    for (size_t i = 0; i < contents->cells.size(); i++) {
        const CharsetInfo & src = *charsets[i / charsets.size()];
        const CharsetInfo & dest = *charsets[i % charsets.size()];
        if (contents->cells[i].isBytemap() != 0 && !is_as_the_catalogue(file.get(), dest, src)) {
            std::fprintf(stderr, "orvcvf: %s to %s differs\n", src.orv_label(), dest.orv_label());
            failed = 1;
        }
    }
    return failed;
}

} // namespace

int main(int argc, char ** argv)
{
    const char * const command = argc > 2 ? argv[1] : "";
    if (std::strcmp(command, "write") == 0) {
        return write(argv[2], std::span(argv, static_cast<size_t>(argc)).subspan(3));
    }
    if (argc == 3 && std::strcmp(command, "list") == 0) {
        return list(argv[2]);
    }
    if (argc == 3 && std::strcmp(command, "check") == 0) {
        return check(argv[2]);
    }
    std::fputs("usage: orvcvf write FILE [CHARSET...] | list FILE | check FILE\n", stderr);
    return 2;
}
