#include "input_words.h"

#include "settings/Parameters.h"
#include "settings/event_files_in.h"

#include <algorithm>
#include <cstddef>
#include <filesystem>
#include <functional>
#include <iterator>
#include <optional>
#include <string_view>

namespace {

using Paths = std::vector<std::string>;

constexpr std::string_view extension = Parameters::extension_eventFiles;
constexpr std::size_t short_list = 200;  ///< so many characters of names are easily read

/// Readable files of one folder that were asked for one after the other.
struct Group {
    std::string prefix;  ///< of their paths: the folder and a slash, or nothing
    Paths files;
};

std::string prefix_of(const Named_Input& input) {
    if (input.isFolder) {
        return input.path + (input.path.ends_with('/') ? "" : "/");
    }
    return input.path.substr(0, input.path.rfind('/') + 1);
}

std::vector<Group> groups_of(const Survey& survey, const std::vector<Named_Input>& inputs) {
    std::vector<Group> groups;
    auto file = survey.files.begin();
    for (const Named_Input& input : inputs) {
        const std::string prefix = prefix_of(input);
        if (groups.empty() || groups.back().prefix != prefix) {
            groups.push_back({prefix, {}});
        }
        for (std::size_t i = 0; i < input.files.size(); ++i, ++file) {
            if (!file->fault) {
                groups.back().files.push_back(file->path);
            }
        }
    }
    std::erase_if(groups, [](const Group& group) { return group.files.empty(); });
    return groups;
}

/// The folder as a path of its own.
std::string folder_of(const Group& group) {
    const std::string& prefix = group.prefix;
    return prefix.empty() ? "." : prefix == "/" ? prefix : prefix.substr(0, prefix.size() - 1);
}

std::string joined(const Paths& words, const char* separator) {
    std::string text;
    for (const std::string& word : words) {
        text += (text.empty() ? "" : separator) + word;
    }
    return text;
}

Paths as_words(Paths paths) {
    std::ranges::transform(paths, paths.begin(), shell_word);
    return paths;
}

Input_Words words_for_list(const std::string& list) {
    return {"printf '%s\\n' " + list + " | ", "--inputListFile /dev/stdin"};
}

/// Whether `-i` takes the path as it is.
bool fits_list_option(const std::string& path) {
    return path.ends_with(extension) && path.find(',') == std::string::npos &&
           path.find_first_of(" \t\n\r\f\v") != 0;
}

/// The files one by one.
Input_Words words_for_files(const Paths& paths, const std::string& list_name) {
    const std::string list = joined(paths, ",");
    if (list.size() <= short_list && std::ranges::all_of(paths, fits_list_option)) {
        return {"", "-i " + shell_word(list)};
    }
    const std::string names = joined(as_words(paths), " ");
    if (names.size() <= short_list) {
        return words_for_list(names);
    }
    const std::string file = shell_word(list_name);
    return {"", "--inputListFile " + file, "printf '%s\\n' " + names + " > " + file};
}

/// Whether the option `-I` finds just these files.
bool is_whole_folder(const Group& group) {
    const auto names = [](const Paths& paths) {
        std::vector<std::filesystem::path> sorted;
        std::ranges::transform(paths, std::back_inserter(sorted), [](const std::string& path) {
            return std::filesystem::path(path).filename();
        });
        std::ranges::sort(sorted);
        return sorted;
    };
    return names(group.files) == names(event_files_in(folder_of(group)));
}

/// Names that begin and end like this.
struct Pattern {
    std::string start;  ///< with the folder
    std::string end;

    [[nodiscard]] std::string shell_text() const {
        return (start.empty() ? "" : shell_word(start)) + "*" + shell_word(end);
    }
};

/// The narrowest pattern for paths that ascend.
Pattern narrowest(const Group& group) {
    const std::string& first = group.files.front();
    const std::string& last = group.files.back();
    // What the first and the last of ascending paths begin with, all do.
    const auto start_end =
        std::max(std::ranges::mismatch(first, last).in1,
                 first.begin() + static_cast<std::ptrdiff_t>(group.prefix.size()));
    auto length = first.end() - start_end;
    for (const std::string& path : group.files) {
        const auto same = std::mismatch(first.rbegin(), first.rend(), path.rbegin(), path.rend());
        length = std::min(length, same.first - first.rbegin());
    }
    return {{first.begin(), start_end}, {first.end() - length, first.end()}};
}

/// What else a shell finds by a pattern for files of a group; empty if it does not find these.
std::optional<Paths> excess_matches(const Group& group, const Pattern& pattern) {
    Paths matches;
    for (const auto& entry : std::filesystem::directory_iterator(folder_of(group))) {
        const std::string name = entry.path().filename().string();
        const std::string path = group.prefix + name;
        if (path.size() >= pattern.start.size() + pattern.end.size() &&
            path.starts_with(pattern.start) && path.ends_with(pattern.end) &&
            !name.starts_with('.')) {
            matches.push_back(path);
        }
    }
    std::ranges::sort(matches);
    if (!std::ranges::includes(matches, group.files)) {
        return std::nullopt;
    }
    Paths excess;
    std::ranges::set_difference(matches, group.files, std::back_inserter(excess));
    return excess;
}

/// The files that patterns find but a few; empty where there is no short way to say it.
std::optional<Input_Words> words_for_patterns(const std::vector<Group>& groups) {
    Paths patterns;
    Paths excess;
    for (const Group& group : groups) {
        const bool ascend = std::ranges::adjacent_find(group.files, std::ranges::greater_equal()) ==
                            group.files.end();
        if (!ascend) {
            return std::nullopt;
        }
        Pattern pattern{group.prefix, std::string(extension)};
        auto more = excess_matches(group, pattern);
        if (!more || more->size() > 1) {
            pattern = narrowest(group);
            more = excess_matches(group, pattern);
        }
        if (!more) {
            return std::nullopt;
        }
        excess.insert(excess.end(), more->begin(), more->end());
        patterns.push_back(pattern.shell_text());
    }
    std::string list = joined(patterns, " ");
    if (!excess.empty()) {
        list += " | grep -vxF -e " + joined(as_words(excess), " -e ");
    }
    constexpr std::size_t long_list = 5 * short_list;
    return list.size() <= long_list ? std::optional(words_for_list(list)) : std::nullopt;
}

std::optional<Input_Words> words_for_folders(const std::vector<Group>& groups, bool sorted) {
    if (sorted || !std::ranges::all_of(groups, is_whole_folder)) {
        return words_for_patterns(groups);
    }
    Paths options;
    for (const Group& group : groups) {
        options.push_back("-I " + shell_word(folder_of(group)));
    }
    return Input_Words{"", joined(options, " ")};
}

}  // namespace

Input_Words input_words(const Survey& survey, const std::vector<Named_Input>& inputs, bool sorted,
                        const std::string& list_name) {
    Paths paths;
    for (const File_Survey& file : survey.files) {
        if (!file.fault) {
            paths.push_back(file.path);
        }
    }
    const bool all_folders = std::ranges::all_of(inputs, &Named_Input::isFolder);
    const bool by_name = joined(paths, ",").size() <= short_list;
    const std::vector<Group> groups = groups_of(survey, inputs);
    const auto is_better_named = [&](const Group& group) {
        return group.files.size() == 1 || !is_whole_folder(group);
    };
    const bool as_files =
        survey.nFaulty() > 0 ||
        (!all_folders && (sorted || std::ranges::any_of(groups, is_better_named)));
    if (by_name && as_files) {
        return words_for_files(paths, list_name);
    }
    return words_for_folders(groups, sorted).value_or(words_for_files(paths, list_name));
}

std::string shell_word(const std::string& text) {
    const auto plain = [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') ||
               std::string_view("_./+:@%-").find(c) != std::string_view::npos;
    };
    if (!text.empty() && std::ranges::all_of(text, plain)) {
        return text;
    }
    std::string quoted = "'";
    for (const char c : text) {
        quoted += c == '\'' ? std::string("'\\''") : std::string(1, c);
    }
    return quoted + "'";
}
