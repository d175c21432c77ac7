// Reading recordings and writing images. Files lie in the folder for temporary files (TMPDIR).

#include "Event_File.h"
#include "Row_By_Row.h"
#include "Sample.h"
#include "Work.h"
#include "counting/Counting_Image.h"
#include "output/Image_Writer.h"

#include <algorithm>
#include <filesystem>
#include <memory>

namespace {

/// All events of a file, opened anew each time, in pieces of one memory.
void read_pieces(benchmark::State& state) {
    const Sample_File sample;
    std::vector<Photon_Event> piece(events_per_piece);
    const auto read = [&](const auto& use) {
        const orven::Event_File file(sample.path());
        for (std::size_t i = 0; i < nSample_pieces; ++i) {
            file.read_events(i * events_per_piece, piece);
            use(i);
        }
    };
    read([&](std::size_t i) {
        if (!std::ranges::equal(std::as_bytes(std::span(piece)), std::as_bytes(sample_piece(i)))) {
            state.SkipWithError("wrong events");
        }
    });
    for (auto _ : state) {
        read([&](std::size_t) { benchmark::DoNotOptimize(piece.data()); });
    }
    report(state, nSample_events, nSample_events * sizeof(Photon_Event));
}
BENCHMARK(read_pieces);

/// The limit of the above.
void read_alone(benchmark::State& state) {
    const Sample_File sample;
    Work work;
    work.files = {sample.path()};
    for (auto _ : state) {
        read_all(work);
    }
    report(state, nSample_events, nSample_events * sizeof(Photon_Event));
}
BENCHMARK(read_alone);

/// Images whose every page of memory is in use.
Counting_Image<3>& image_of(std::size_t nPages, std::size_t size) {
    static std::unique_ptr<Counting_Image<3>> image;
    if (image == nullptr || image->get_sizes()[0] != nPages) {
        image = std::make_unique<Counting_Image<3>>(Counting_Image<3>::Indices{nPages, size, size});
        for (std::size_t cell = 0; cell < image->get_content().size(); ++cell) {
            (*image)[cell] = static_cast<unsigned>(cell % 1000);
        }
    }
    return *image;
}

std::span<const std::uint32_t> plain_counts(const Counting_Image<3>& image) {
    const auto& cells = image.get_content();
    return {reinterpret_cast<const std::uint32_t*>(cells.data()), cells.size()};
}

void row_by_row(const std::string& path, const Counting_Image<3>& image) {
    const auto [nPages, rows, columns] = image.get_sizes();
    write_row_by_row(path, "w4", plain_counts(image), nPages, rows, columns);
}

void tiff(const std::string& path, const Counting_Image<3>& image) {
    Progress_Count nWritten;
    write_tiff(path, "w4", pages_of(image), nWritten);
}

void raw(const std::string& path, const Counting_Image<3>& image) {
    write_raw(path, plain_counts(image));
}

template <auto write>
void write_image(benchmark::State& state) {
    const auto& image = image_of(static_cast<std::size_t>(state.range(0)),
                                 static_cast<std::size_t>(state.range(1)));
    const Folder folder;
    const std::string path = folder.path / "image.tif";
    if constexpr (write == tiff) {
        const std::string expected = folder.path / "expected.tif";
        row_by_row(expected, image);
        write(path, image);
        if (read_file(path) != read_file(expected)) {
            state.SkipWithError("wrong file");
        }
    }
    for (auto _ : state) {
        std::filesystem::remove(path);
        write(path, image);
    }
    report(state, image.get_content().size(), image.get_content().size() * sizeof(std::uint32_t));
}
void image_sizes(benchmark::internal::Benchmark* writing) {
    writing->ArgNames({"pages", "size"})
        ->Args({200, 512})
        ->Args({8000, 16})
        ->Unit(benchmark::kMillisecond);
}
BENCHMARK(write_image<tiff>)->Apply(image_sizes)->Name("write_tiff");
BENCHMARK(write_image<raw>)->Apply(image_sizes)->Name("write_alone");
BENCHMARK(write_image<row_by_row>)->Apply(image_sizes)->Name("write_row_by_row");

}  // namespace

BENCHMARK_MAIN();
