#include <orven/FileHandler_Events.h>

#include <cstdlib>
#include <exception>
#include <iostream>

/// Prints the number of events of a recording: a program of others, on the installed library.
int main(int argc, char* argv[]) {
    try {
        if (argc != 2) {
            std::cerr << "usage: count_events FILE\n";
            return EXIT_FAILURE;
        }
        std::cout << orven::Photon_FileHandler().load_file(argv[1]).events.size() << '\n';
        return EXIT_SUCCESS;
    } catch (const std::exception& error) {
        std::cerr << error.what() << '\n';
        return EXIT_FAILURE;
    }
}
