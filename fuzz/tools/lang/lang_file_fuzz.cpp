// The checker of language files, on files that anybody may have written.

#include <cstddef>
#include <cstdint>

#include "tools/lang/lang_file.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t * data, std::size_t size)
{
    const a_lang_file file = read_lang_file({data, size}, nullptr);
    // What passes can be compiled, and then says the same.
    if (file.faults.empty()) {
        a_po_result texts{file.language, file.texts, {}};
        for (a_po_text & entry : texts.texts) {
            entry.translated = true;
        }
        const a_compiled_file again = compile_lang_file(texts, *file.charset, file.language, file.version);
        if (!again.faults.empty() || read_lang_file(again.bytes, nullptr).texts.size() != file.texts.size()) {
            __builtin_trap();
        }
    }
    return 0;
}
