// Counts a few events and writes the image row by row.

#include "Row_By_Row.h"
#include "Counter_Memory.h"
#include "Work.h"

int main(int argc, char** argv) {
    const Work work(argc, argv);
    const Counter_Memory image(work.nCells());
    for_each_piece(work, [&](std::size_t /*thread*/, std::span<const Photon_Event> piece) {
        for (const Photon_Event& event : piece) {
            const std::int32_t width = work.pixel_width();
            const auto column = static_cast<std::size_t>(event.y.value / width);
            const auto row = static_cast<std::size_t>(event.x.value / width);
            const auto page = static_cast<std::size_t>(event.time.value / work.ticks);
            if (page < work.pages && row < work.size && column < work.size) {
                ++image.cells()[(page * work.size + row) * work.size + column];
            }
        }
    });
    write_row_by_row(work.output, "w4", image.cells(), work.pages, work.size, work.size);
}
