#pragma once

#include "Named_Input.h"
#include "Survey.h"

#include <string>
#include <vector>

/// How vexolan is told what to read: with a command before it if need be.
struct Input_Words {
    std::string before;
    std::string options;
};

/// All that can be read of the inputs, in their order if `sorted`: as folders, or what a pattern
/// finds in them but for some files, where that is shorter than all names.
/// Throws: std::filesystem::filesystem_error.
[[nodiscard]] Input_Words input_words(const Survey& survey, const std::vector<Named_Input>& inputs,
                                      bool sorted);

/// The text as one word of a shell.
[[nodiscard]] std::string shell_word(const std::string& text);
