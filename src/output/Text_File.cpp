#include "output/Text_File.h"

#include "escaped.h"
#include "output/Output_File.h"

#include <stdexcept>

void write_text_file(const std::string& path, std::string_view text) {
    Output_File file(path);
    if (file.error() != 0 || !file.write(text.data(), text.size()) || !file.close()) {
        throw std::runtime_error("output file " + quoted(path) + " could not be written (" +
                                 file.reason() + ")!");
    }
}
