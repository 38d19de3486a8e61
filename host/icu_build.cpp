#include "icu_build.h"

#include <dlfcn.h>
#include <link.h>

#include <string_view>

namespace orvhost {
namespace {

[[nodiscard]] std::string_view base_name(std::string_view path)
{
    return path.substr(path.rfind('/') + 1);
}

int see_object(dl_phdr_info * info, size_t /*size*/, void * found)
{
    auto * build = static_cast<IcuBuild *>(found);
    const std::string_view name = base_name(info->dlpi_name);
    if (name == "liborvicu16_r.so" || name == "liborvicu16.so") {
        build->path = info->dlpi_name;
    } else if (name.substr(0, 11) == "libicuuc.so") {
        build->below = info->dlpi_name;
    }
    return 0;
}

[[nodiscard]] int ask_dataset(const std::string & path)
{
    void * handle = dlopen(path.c_str(), RTLD_NOW | RTLD_NOLOAD);
    if (handle == nullptr) {
        return -1;
    }
    const auto ask = reinterpret_cast<int (*)()>(dlsym(handle, "ORVGetICUDataset"));
    const int dataset = ask != nullptr ? ask() : -1;
    (void)dlclose(handle); // the link library's own handle keeps it
    return dataset;
}

} // namespace

IcuBuild find_icu_build()
{
    IcuBuild build;
    dl_iterate_phdr(see_object, &build);
    if (build.path.empty()) {
        return {};
    }
    build.dataset = ask_dataset(build.path);
    return build;
}

const char * dataset_text(int dataset)
{
    constexpr const char * texts[] = {
        "no data that can be read",
        "less data than a collation needs",
        "data for the root collation, and not all converters",
        "data for all converters, and no languages' collations",
        "all data",
    };
    return dataset >= 0 && dataset <= 4 ? texts[dataset] : "data that it doesn't tell about";
}

} // namespace orvhost
