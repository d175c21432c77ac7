#include "remarks/Remarks.h"

#include "logging.h"
#include "wrapped.h"

#include <algorithm>
#include <stdexcept>

void Remarks::advise(const std::string& text) {
    add("Note: ", text);
}

void Remarks::doubt(const std::string& text) {
    if (strict) {
        throw std::runtime_error(text);
    }
    add("Beware: ", text);
}

void Remarks::add(const std::string& head, const std::string& text) {
    if (std::ranges::find(all, text) == all.end()) {
        all.push_back(text);
        tell(wrapped(head + text, terminal_columns(), head.size()));
    }
}
