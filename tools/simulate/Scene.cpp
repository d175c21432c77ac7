#include "Scene.h"

#include "Star.h"
#include "Units.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <numeric>
#include <utility>

namespace {

constexpr std::int64_t whole = std::int64_t{1} << 32;

/// Signal events have many photons and a high PSD value; background events have few and a low one.
enum class Population { signal, background };

/// A component as a person describes it.
struct Ingredient {
    std::function<double(double x, double y)> image;
    std::function<double(double phase)> rate;
    Population population;
    bool turns = false;
};

/// The values of a function in the middles of equal parts of [0, `end`).
std::vector<double> sample(std::size_t nParts, double end,
                           const std::function<double(double)>& function) {
    std::vector<double> values(nParts);
    for (std::size_t i = 0; i < nParts; ++i) {
        values[i] = function((static_cast<double>(i) + 0.5) * end / static_cast<double>(nParts));
    }
    return values;
}

std::vector<double> render(const std::function<double(double, double)>& image) {
    std::vector<double> pixels(Alias_Table::nCells);
    for (std::size_t i = 0; i < pixels.size(); ++i) {
        const std::size_t column = i % orven::detector_pixels;
        const std::size_t row = i / orven::detector_pixels;
        pixels[i] = image(static_cast<double>(column) + 0.5, static_cast<double>(row) + 0.5);
    }
    return pixels;
}

Quantile_Table photon_counts(Population population) {
    constexpr std::size_t limit = 64;
    const auto weight = [population](double n) {
        if (n < 1) {
            return 0.0;
        }
        return population == Population::signal ? std::pow(n, 6) * std::exp(-n / 2.5)
                                                : std::exp(-n / 1.2);
    };
    return {sample(limit, limit, weight), 0, static_cast<std::int64_t>(limit) << 16};
}

Quantile_Table psd_values(Population population) {
    const double mean = population == Population::signal ? 0.62 : 0.22;
    const double width = population == Population::signal ? 0.11 : 0.08;
    const auto bell = [=](double value) {
        const double t = (value - mean) / width;
        return std::exp(-t * t / 2);
    };
    constexpr std::size_t nParts = 1000;
    return {sample(nParts, 1, bell), 0, whole};
}

/// The limits between the components' shares, from their rates in one slice.
Scene::Mixture mixture(const std::vector<std::vector<double>>& rates, std::size_t slice,
                       double total) {
    Scene::Mixture limits;
    limits.fill(whole);
    double sum = 0;
    for (std::size_t i = 0; i + 1 < rates.size(); ++i) {
        sum += rates[i][slice];
        limits.at(i) = static_cast<std::uint64_t>(std::llround(sum / total * whole));
    }
    return limits;
}

Scene mix(const std::vector<Ingredient>& ingredients) {
    std::vector<Component> components;
    std::vector<std::vector<double>> rates;
    std::vector<double> total(Scene::nSlices);
    for (const Ingredient& ingredient : ingredients) {
        const std::vector<double> pixels = render(ingredient.image);
        const double size = std::accumulate(pixels.begin(), pixels.end(), 0.0);
        components.push_back({Alias_Table(pixels), photon_counts(ingredient.population),
                              psd_values(ingredient.population), ingredient.turns});
        rates.push_back(
            sample(Scene::nSlices, 1, [&](double phase) { return size * ingredient.rate(phase); }));
        std::transform(total.begin(), total.end(), rates.back().begin(), total.begin(),
                       std::plus{});
    }
    std::vector<Scene::Mixture> mixtures;
    for (std::size_t slice = 0; slice < Scene::nSlices; ++slice) {
        mixtures.push_back(mixture(rates, slice, total[slice]));
    }
    return {std::move(components), std::move(mixtures), Quantile_Table(total, 0, whole)};
}

Scene star_scene() {
    using namespace star;
    const auto open_beam = [](double x, double y) {
        return beam(x, y) * (1 - spokes(x, y) - gaps(x, y));
    };
    const auto behind_spokes = [](double x, double y) { return beam(x, y) * spokes(x, y); };
    const auto behind_gaps = [](double x, double y) { return beam(x, y) * gaps(x, y); };
    const auto spokes_rate = [](double phase) {
        return beam_rate(phase) * spokes_transmission(phase);
    };
    const auto gaps_rate = [](double phase) { return beam_rate(phase) * gaps_transmission(phase); };
    return mix({{open_beam, beam_rate, Population::signal, true},
                {behind_spokes, spokes_rate, Population::signal, true},
                {behind_gaps, gaps_rate, Population::signal, true},
                {aperture_glow, glow_rate, Population::background, false}});
}

/// Both populations in one shape, without structure in time.
Scene flat_scene(const std::function<double(double, double)>& image) {
    const auto signal_rate = [](double) { return 0.7; };
    const auto background_rate = [](double) { return 0.3; };
    return mix({{image, signal_rate, Population::signal},
                {image, background_rate, Population::background}});
}

Scene uniform_scene() {
    return flat_scene([](double, double) { return 1.0; });
}

Scene spot_scene() {
    constexpr double center = 128;
    constexpr double half_width = 10;
    return flat_scene([](double x, double y) {
        const double distance = std::max(std::abs(x - center), std::abs(y - center));
        return distance < half_width ? 1.0 : 0.0;
    });
}

const std::map<std::string, std::function<Scene()>> scenes{
    {"star", star_scene}, {"uniform", uniform_scene}, {"spot", spot_scene}};

}  // namespace

std::vector<std::string> scene_names() {
    std::vector<std::string> names(scenes.size());
    std::transform(scenes.begin(), scenes.end(), names.begin(),
                   [](const auto& scene) { return scene.first; });
    return names;
}

Scene make_scene(const std::string& name) {
    return scenes.at(name)();
}
