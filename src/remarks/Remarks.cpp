#include "remarks/Remarks.h"

#include "logging.h"

#include <stdexcept>

void Remarks::advise(const std::string& text) {
    tell("Note: " + text + '\n');
    all.push_back(text);
}

void Remarks::doubt(const std::string& text) {
    if (strict) {
        throw std::runtime_error(text);
    }
    tell("Beware: " + text + '\n');
    all.push_back(text);
}
