#include "BenchWorld.h"

#include "Flags/KIVFeatureFlagsRepository.h"

// What is added here stays in the library, so names are new in each round and the rounds are few.

namespace {

constexpr int rounds = 20;

std::vector<std::string> newNames(std::size_t count) {
    static std::size_t made = 0;
    std::vector<std::string> names;
    for (std::size_t i = 0; i < count; ++i) {
        names.push_back("registered.name" + std::to_string(++made));
    }
    return names;
}

void registerFlags(benchmark::State& state) {
    benchFlags();
    for (auto _ : state) {
        state.PauseTiming();
        const auto names = newNames(static_cast<std::size_t>(state.range(0)));
        std::vector<std::shared_ptr<KIVFlag>> flags;
        for (std::size_t i = 0; i < names.size(); ++i) {
            flags.push_back(std::make_shared<KIVFlag>(false));
        }
        state.ResumeTiming();
        for (std::size_t i = 0; i < names.size(); ++i) {
            KIVCore::flagsRepository()->addFeature(flags[i], names[i]);
        }
    }
}

void addProperties(benchmark::State& state) {
    benchFlags();
    for (auto _ : state) {
        state.PauseTiming();
        const auto names = newNames(static_cast<std::size_t>(state.range(0)));
        state.ResumeTiming();
        for (const std::string& name : names) {
            KIVCore::setCustomStringProperty("value", name);
        }
    }
}

BENCHMARK(registerFlags)
    ->Name("register")
    ->Arg(1000)
    ->Arg(10000)
    ->Iterations(rounds)
    ->Unit(benchmark::kMillisecond);
BENCHMARK(addProperties)
    ->Name("device/add_property")
    ->Arg(100)
    ->Arg(1000)
    ->Iterations(rounds)
    ->Unit(benchmark::kMillisecond);

} // namespace
