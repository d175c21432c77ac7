#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <string>

/// Throws: std::invalid_argument that names `output` if it is one of the files that this run reads,
/// under any name, if it is one of its other outputs, or if it exists and is named as event files
/// are or begins as they do: writing would destroy what cannot be made again.
void refuse_harmful_output(const std::string& output, std::span<const std::string> read_files,
                           std::span<const std::string> other_outputs);

/// Throws: std::invalid_argument that names `output` if bytes cannot be written there at any place,
/// as those of images are: pipes, sockets and terminals.
void refuse_image_without_places(const std::string& output);

/// Why a file of at least so many bytes cannot be written to this path, as far as that can be seen
/// before; empty if nothing is known against it. Folders that are missing will be made.
[[nodiscard]] std::optional<std::string> output_problem(const std::string& path,
                                                        std::uint64_t bytes);
