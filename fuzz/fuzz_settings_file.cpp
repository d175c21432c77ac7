// Any JSON object as a settings file: taken or refused with a documented exception, and with the
// same outcome as what another parser and a writer make of it.

#include "arguments_outcome.h"
#include "fuzz_input.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

namespace {

/// Writes what it is told; numbers as they stood, since reading them may round.
struct Rewriter : rapidjson::Writer<rapidjson::StringBuffer> {
    using Writer::Writer;
    bool RawNumber(const char* digits, rapidjson::SizeType length, bool /*copy*/) {
        return RawValue(digits, length, rapidjson::kNumberType);
    }
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* bytes, std::size_t size) {
    constexpr std::size_t max_size = 4096;  // the other parser is recursive
    static const Memory_File file;
    const std::string text(Fuzz_Input(bytes, size).rest);
    // Without an object at its root a settings file ends the program on purpose; a fuzzer could
    // not go on from there.
    if (size > max_size || !rapidjson::Document().Parse(text.c_str()).IsObject()) {
        return 0;
    }
    rapidjson::StringBuffer rewritten;
    Rewriter rewriter(rewritten);
    rapidjson::StringStream stream(text.c_str());
    rapidjson::Reader().Parse<rapidjson::kParseNumbersAsStringsFlag>(stream, rewriter);
    file.replace(text);
    const std::string found = outcome({"-f", file.path()});
    file.replace(rewritten.GetString());
    const std::string expected = outcome({"-f", file.path()});
    expect(found == expected, found + " instead of " + expected);
    return 0;
}
