// Any JSON object as a settings file: taken or refused with a documented exception, and with the
// same outcome as the text that another parser and a writer make of it.

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include "arguments_outcome.h"
#include "fuzz_input.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t max_size = 4096;  // the other parser is recursive
    static const Memory_File file;
    const std::string text(Fuzz_Input(bytes, size).rest);
    rapidjson::Document document;
    // Without an object at its root a settings file ends the program on purpose; a fuzzer could
    // not go on from there.
    if (size > max_size || !document.Parse(text.c_str()).IsObject()) {
        return 0;
    }
    rapidjson::StringBuffer rewritten;
    rapidjson::Writer writer(rewritten);
    document.Accept(writer);
    file.replace(text);
    const std::string found = outcome({"-f", file.path()});
    file.replace(rewritten.GetString());
    const std::string expected = outcome({"-f", file.path()});
    expect(found == expected, found + " instead of " + expected);
    return 0;
}
