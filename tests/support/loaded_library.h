// The built library as a host has it: loaded by dlopen and called through its exports. For programs of tests
// that hold nothing of it themselves, or don't use what they hold.
#pragma once

#include <dlfcn.h>

#include <gtest/gtest.h>

#include "orvlink.h"

namespace support {

class LoadedLibrary {
public:
    LoadedLibrary() : _handle(dlopen(path(), RTLD_NOW | RTLD_LOCAL))
    {
        find("MsgInitLinkV3", init);
        find("MsgFiniLink", fini);
        find("MsgSendV3", send);
        find("MsgReceive", receive);
        find("MsgContent", content);
        find("MsgDelete", remove);
    }
    ~LoadedLibrary() { dlclose(_handle); }
    LoadedLibrary(const LoadedLibrary &) = delete;
    LoadedLibrary & operator=(const LoadedLibrary &) = delete;

    static const char * path() { return ORV_BUILD_DIR "/lib64/liborvsmtp16_r.so"; }

    decltype(&MsgInitLinkV3) init = nullptr;
    decltype(&MsgFiniLink) fini = nullptr;
    decltype(&MsgSendV3) send = nullptr;
    decltype(&MsgReceive) receive = nullptr;
    decltype(&MsgContent) content = nullptr;
    decltype(&MsgDelete) remove = nullptr;

private:
    template<class Function> void find(const char * name, Function & function)
    {
        function = _handle == nullptr ? nullptr : reinterpret_cast<Function>(dlsym(_handle, name));
        EXPECT_NE(function, nullptr) << name << ": " << dlerror();
    }
    void * _handle;
};

} // namespace support
