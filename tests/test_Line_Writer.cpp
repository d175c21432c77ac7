#include "system/Line_Writer.h"

#include <gtest/gtest.h>

#include <sys/resource.h>

#include <csignal>
#include <cstdio>
#include <fstream>
#include <iterator>
#include <string>

namespace {

TEST(Line_Writer, a_line_that_breaks_off_takes_no_other_with_it) {
    std::signal(SIGXFSZ, SIG_IGN);
    std::FILE* const file = std::tmpfile();
    Line_Writer writer(fileno(file));
    rlimit usual{};
    getrlimit(RLIMIT_FSIZE, &usual);
    const rlimit full{10, usual.rlim_max};
    writer.write("first\n");
    setrlimit(RLIMIT_FSIZE, &full);
    writer.write("second\n");
    writer.write("third\n");
    setrlimit(RLIMIT_FSIZE, &usual);
    writer.write("fourth\n");
    writer.write("fifth\n");
    std::ifstream written("/proc/self/fd/" + std::to_string(fileno(file)));
    EXPECT_EQ(std::string(std::istreambuf_iterator<char>(written), {}),
              "first\nseco\nfourth\nfifth\n");
    std::fclose(file);
}

}  // namespace
