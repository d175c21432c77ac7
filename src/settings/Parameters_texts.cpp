#include "settings/Parameters.h"

#include <cstdio>

namespace {

constexpr const char* banner = "vexolan - images from recorded photon events";

// The line of -f has no line break of its own: readers of this text know it so.
constexpr const char* usage = R"(%s
Usage: %s [OPTIONS]
Example: %s -i input.orvenevent -o image

OPTIONS
  -h, --help             Print out this help
      --license          License information
      --version          Version number

  -i, --inputFiles       Comma separated list of files to process
  -I, --inputFolder      All files with the %s extension directly in this folder will be processed
      --inputListFile    Path of text file containing one input file per line

  -o, --outputFile       Path (including file name) for the output

  -f, --paramsFile       Path to a .json file where processing parameters are defined  -x, --size_x           Number of pixels in x direction for the final image (default: %lu px)
  -y, --size_y           Number of pixels in y direction for the final image (defaults to match size in x dimension)
  -m, --nPhotons_min     Only events with at least this number of photons will be used for the image (default: %lu)
  -M, --nPhotons_max     Only events with at most this number of photons will be used for the image (default: %lu)
  -E, --time_extTrigger  How the external trigger should be used: "ignore" (default), "reference", or "frameSync"
  -t, --time_res_s       Timing resolution in seconds for creating an 3D image sequence (default: 2D image is created, integrated in time)
  -T, --time_limit       Maximum of "time_res_s" bins for the 3D image sequence
  -p, --psd_min          Minimum PSD value
  -P, --psd_max          Maximum PSD value

      --fileFormat       Format for the output file. Possibilities are:
                          - "tiff_w4" (default): for TIFF files < 4GB
                          - "tiff_w8"          : for TIFF files of any size

      --parallel         Control parallel processing. Set "true" for on (default) and "false" for off.

)";

constexpr const char* license_terms = R"(
Copyright (c) 2026, the vexolan authors

Redistribution and use in source and binary forms, with or without
modification, are permitted provided that the following conditions are met:

1. Redistributions of source code must retain the above copyright notice, this
   list of conditions and the following disclaimer.

2. Redistributions in binary form must reproduce the above copyright notice,
   this list of conditions and the following disclaimer in the documentation
   and/or other materials provided with the distribution.

3. Neither the name of the copyright holder nor the names of its
   contributors may be used to endorse or promote products derived from
   this software without specific prior written permission.

THIS SOFTWARE IS PROVIDED BY THE COPYRIGHT HOLDERS AND CONTRIBUTORS "AS IS"
AND ANY EXPRESS OR IMPLIED WARRANTIES, INCLUDING, BUT NOT LIMITED TO, THE
IMPLIED WARRANTIES OF MERCHANTABILITY AND FITNESS FOR A PARTICULAR PURPOSE ARE
DISCLAIMED. IN NO EVENT SHALL THE COPYRIGHT HOLDER OR CONTRIBUTORS BE LIABLE
FOR ANY DIRECT, INDIRECT, INCIDENTAL, SPECIAL, EXEMPLARY, OR CONSEQUENTIAL
DAMAGES (INCLUDING, BUT NOT LIMITED TO, PROCUREMENT OF SUBSTITUTE GOODS OR
SERVICES; LOSS OF USE, DATA, OR PROFITS; OR BUSINESS INTERRUPTION) HOWEVER
CAUSED AND ON ANY THEORY OF LIABILITY, WHETHER IN CONTRACT, STRICT LIABILITY,
OR TORT (INCLUDING NEGLIGENCE OR OTHERWISE) ARISING IN ANY WAY OUT OF THE USE
OF THIS SOFTWARE, EVEN IF ADVISED OF THE POSSIBILITY OF SUCH DAMAGE.
)";

}  // namespace

void Parameters::print_help(const char* programName) const {
    std::fprintf(stderr, usage, banner, programName, programName, extension_eventFiles.data(),
                 size_x, nPhotons_min, nPhotons_max);
}

void Parameters::print_license() const {
    std::fprintf(stderr, "\n%s\n%s", banner, license_terms);
}

void Parameters::print_version() const {
    std::fprintf(stderr, "%s\n", version.data());
}
