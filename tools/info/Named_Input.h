#pragma once

#include <string>
#include <vector>

/// A file or folder that was asked for.
struct Named_Input {
    std::string path;
    bool isFolder;
    std::vector<std::string> files;  ///< the file itself, or those of the folder by their names
};

/// Looks at what there is.
/// Throws: std::filesystem::filesystem_error; std::runtime_error for a folder without event files.
[[nodiscard]] Named_Input look_up(const std::string& path);

/// All event files of the inputs, in their order.
[[nodiscard]] std::vector<std::string> files_of(const std::vector<Named_Input>& inputs);
