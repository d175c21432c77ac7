#pragma once

#include "Named_Input.h"
#include "Survey.h"

#include <string>
#include <vector>

/// How vexolan is told what to read: with a command before it if need be.
struct Input_Words {
    std::string before;
    std::string options;
    std::string list_file = {};  ///< a command that writes the list of names; empty without one
};

/// All that can be read of the inputs, in their order if `sorted`: as folders, or what a pattern
/// finds in them but for some files, where that is shorter than all names; as a list in a file of
/// this name where the names would be too long for each command.
/// Throws: std::filesystem::filesystem_error.
[[nodiscard]] Input_Words input_words(const Survey& survey, const std::vector<Named_Input>& inputs,
                                      bool sorted, const std::string& list_name);

/// The text as one word of a shell.
[[nodiscard]] std::string shell_word(const std::string& text);
