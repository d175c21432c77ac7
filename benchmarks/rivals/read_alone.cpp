// The limit for anything that reads recordings: reading alone.

#include "Work.h"

int main(int argc, char** argv) {
    read_all(Work(argc, argv));
}
