// The limit for anything that writes images: writing alone.

#include "Work.h"

int main(int argc, char** argv) {
    const Work work(argc, argv);
    write_zeros(work.output, work.bytes);
}
