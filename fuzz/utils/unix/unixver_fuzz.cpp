// The reader of version records over files of any content: what it gives lies inside of what it has captured,
// the same as a search of the whole file in memory finds, and blanking a part leaves the rest readable.
//
// Input: two bytes, how much stands before the rest in the file (so that markers come to lie across blocks),
// a byte whose lowest bit puts a marker in between; then the rest.

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

#include "require.h"
#include "utils/etc/orvfilever.h"
#include "utils/unix/unixver.h"

namespace {

bool is_inside(const tc & info, const void * pointer)
{
    const char * const at = static_cast<const char *>(pointer);
    return at >= info.buffer && at <= info.buffer + sizeof info.buffer;
}

bool is_text_inside(const tc & info, const char * text)
{
    return text >= info.buffer && text < info.buffer + info.length &&
           memchr(text, '\0', static_cast<size_t>(info.buffer + info.length - text)) != nullptr;
}

void check_record(const tc & info)
{
    require(info.length <= DBVERSION_MAX_LENGTH && info.data_length <= DBVERSION_MAX_LENGTH);
    require(info.num_args >= 1 && info.num_args <= DBVERSION_MAX_ARGS);
    require(info.num_exts <= DBVERSION_MAX_EXTS);
    require(info.extensions == nullptr || is_inside(info, info.extensions));
    for (uint32 i = 0; i < info.num_args; i++) {
        const ta & entry = info.args[i];
        require(is_text_inside(info, entry.label) && is_text_inside(info, entry.value));
        require(entry.equal == nullptr ? entry.label[0] == 1 : entry.equal + 1 == entry.value);
        require(__Find_arg(&info, entry.label) != nullptr);
    }
    for (uint32 i = 0; i < info.num_exts; i++) {
        const tb & extension = info.exts[i];
        require(is_text_inside(info, extension.label) && extension.len >= 0);
        require((extension.value == nullptr) == (info.extensions == nullptr));
        require(extension.value == nullptr || is_inside(info, extension.value));
        require(__Find_ext_index(&info, extension.label) >= 0);
    }
}

void check_clone(const tc & info)
{
    static tc clone;
    __Clone_dbversion_info(&info, &clone);
    check_record(clone);
    for (uint32 i = 0; i < info.num_args; i++) {
        require(strcmp(clone.args[i].label, info.args[i].label) == 0);
    }
}

void check_blanking(const char * path, const tc & info)
{
    std::string key = info.args[info.num_args / 2].label;
    std::string labels;
    for (uint32 i = 0; i < info.num_exts; i += 2) {
        labels += *info.exts[i].label;
    }
    require(__Zap_dbversion_info(path, &info, key.data(), labels.data()) == TRUE);
    static tc blanked;
    require(__Get_dbversion_info(path, &blanked, TRUE) == FOUND_DBVERSION);
    require(blanked.num_args == info.num_args && blanked.length == info.length);
    check_record(blanked);
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    if (size < 3) {
        return 0;
    }
    std::string content((data[0] | data[1] << 8) % 9000, '-');
    content.append((data[2] & 1) != 0 ? "@@==Version==@1@" : "");
    content.append(reinterpret_cast<const char *>(data) + 3, size - 3);

    const int file = memfd_create("record", MFD_CLOEXEC);
    require(file != -1 &&
            write(file, content.data(), content.size()) == static_cast<ssize_t>(content.size()));
    const std::string path = "/proc/self/fd/" + std::to_string(file);
    static tc info;
    const an_info_found found = __Get_dbversion_info(path.c_str(), &info, TRUE);
    static tc whole;
    const ssize_t offset = __Get_dbversion_info_mem(content.data(), content.size(), &whole);
    if (found == FOUND_DBVERSION) {
        require(info.file_offset == offset && info.length == whole.length);
        check_record(info);
        check_clone(info);
        ORVFileVersion version;
        (void)version.set_from_file(path.c_str());
        check_blanking(path.c_str(), info);
    } else {
        require(info.num_args == 0 && info.num_exts == 0);
    }
    close(file);
    return 0;
}
