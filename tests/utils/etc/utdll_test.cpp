#include "utils/etc/utdll.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

namespace {

const char * const small_library = ORV_BUILD_DIR "/lib64/libvxtool16_r.so";
std::vector<std::string> lines;

void keep_line(const char * line)
{
    lines.emplace_back(line);
}

TEST(LibraryLoading, LineComesOnlyForALibraryThatIsLoadedAndOnlyWhenAsked)
{
    lines.clear();
    UTUnloadLibrary(UTLoadLibrary(small_library));
    UTDumpDllNames(keep_line);
    EXPECT_EQ(UTLoadLibrary("/nowhere/libnone.so"), nullptr);
    a_dll_handle const dll = UTLoadLibrary(small_library);
    UTDumpDllNames(nullptr);
    ASSERT_NE(dll, nullptr);
    EXPECT_EQ(lines, (std::vector<std::string>{"Loading DLL \"" + std::string(small_library) +
                                               "\", (Version info not available)"}));
    UTUnloadLibrary(dll);
    EXPECT_NE(UTGetProcAddress(nullptr, "malloc"), nullptr) << "null is the process itself";
    EXPECT_EQ(UTGetProcAddress(nullptr, "no_such_symbol_anywhere"), nullptr);
    UTUnloadLibrary(nullptr);
}

TEST(LibraryLoading, ErrorTextIsTerminatedInsideABufferOfAnySize)
{
    std::string whole(500, '#');
    ASSERT_EQ(UTLoadLibrary("/nowhere/libnone.so"), nullptr);
    ASSERT_EQ(UTGetLoadError(whole.data(), whole.size()), TRUE);
    whole.resize(whole.find('\0'));
    ASSERT_NE(whole.find("/nowhere/libnone.so"), std::string::npos);
    for (size_t size = 0; size <= whole.size() + 2; ++size) {
        std::vector<char> tight(size, '#');
        ASSERT_EQ(UTLoadLibrary("/nowhere/libnone.so"), nullptr);
        EXPECT_EQ(UTGetLoadError(tight.data(), size), TRUE);
        if (size > 0) {
            EXPECT_EQ(std::string(tight.data()), whole.substr(0, size - 1)) << size;
        }
        EXPECT_EQ(UTGetLoadError(tight.data(), size), FALSE) << "a text is given once";
    }
}

class RecordingMonitor : public DLLLoadingMonitor {
public:
    a_bool loads = TRUE;
    std::string calls;
    [[nodiscard]] bool has_library() const { return _dll != nullptr; }

protected:
    void _clear() override { calls += has_library() ? "clear " : "late "; }
    a_bool _do_load() override
    {
        calls += "load ";
        _dll = loads ? this : nullptr;
        return loads;
    }
    void _do_unload() override { calls += "unload "; }
};

TEST(LoadingMonitor, LoadsForTheFirstUserAndUnloadsBehindTheLast)
{
    RecordingMonitor monitor;
    monitor.loads = FALSE;
    EXPECT_EQ(monitor.init(), FALSE);
    monitor.loads = TRUE;
    EXPECT_EQ(monitor.init(), TRUE);
    EXPECT_EQ(monitor.init(), TRUE);
    monitor.fini();
    EXPECT_EQ(monitor.calls, "load load ");
    EXPECT_TRUE(monitor.has_library());
    monitor.fini();
    EXPECT_EQ(monitor.calls, "load load unload clear ");
    EXPECT_FALSE(monitor.has_library());
}

} // namespace
