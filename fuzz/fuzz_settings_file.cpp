// Any JSON object as a settings file: taken or refused with a documented exception, and with the
// same outcome as what another parser and a writer make of it.

#include "fuzz_input.h"
#include "logging.h"
#include "recordings.h"

#include <rapidjson/document.h>
#include <rapidjson/stringbuffer.h>
#include <rapidjson/writer.h>

#include <sstream>
#include <stdexcept>

namespace {

/// Writes what it is told; numbers as they stood, since reading them may round.
struct Rewriter : rapidjson::Writer<rapidjson::StringBuffer> {
    using Writer::Writer;
    bool RawNumber(const char* digits, rapidjson::SizeType length, bool /*copy*/) {
        return RawValue(digits, length, rapidjson::kNumberType);
    }
};

/// All that a settings file leads to, as one text: it is taken, or refused with a documented
/// exception.
std::string outcome(const std::string& path) {
    logLevel = 4;
    std::ostringstream result;
    try {
        const Parameters p = parameters_from({"-f", path});
        result << p.size_x << ' ' << p.size_y << ' ' << p.nPhotons_min << ' ' << p.nPhotons_max
               << ' ' << p.extTrigger_mode << ' ' << p.time_res_s.value_or(-1) << ' '
               << p.time_max_binNumber.value_or(-1) << ' ' << p.psd_min.value_or(-1) << ' '
               << p.psd_max.value_or(-1);
    } catch (const std::invalid_argument& exception) {
        result << exception.what();
    }
    return result.str();
}

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
    const std::string found = outcome(file.path());
    file.replace(rewritten.GetString());
    const std::string expected = outcome(file.path());
    expect(found == expected, found + " instead of " + expected);
    return 0;
}
