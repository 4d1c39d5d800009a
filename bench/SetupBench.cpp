#include "BenchWorld.h"

#include "Flags/KIVFeatureFlagsRepository.h"
#include "Platform/Threads/Queues.h"

// Costs that grow with the number of registered flags. These benchmarks leave many flags behind, so they run
// last.

namespace {

/// A container with as many flags as wanted.
struct ManyFlags : KIVBaseContainer {
    ManyFlags(std::int64_t count, unsigned freezeLevel) {
        for (std::int64_t i = 0; i < count; ++i) {
            names.push_back("flag" + std::to_string(i));
            flags.push_back(std::make_shared<KIVFlag>(false, freezeLevel));
        }
    }

    KIVContainerTable kivContainerTable() override {
        KIVContainerTable table;
        for (std::size_t i = 0; i < flags.size(); ++i) {
            table.add(names[i], flags[i]);
        }
        return table;
    }

    std::vector<std::string> names;
    std::vector<std::shared_ptr<KIVFlag>> flags;
};

/// Setups, each with another key, after as many flags were registered as the argument says.
void setUpWithFlags(benchmark::State& state) {
    benchFlags();
    KIVCore::shutdown();
    static const auto many = std::make_shared<ManyFlags>(state.range(0), KIVFreezeNever);
    KIVCore::register_("setup", many);
    for (auto _ : state) {
        state.PauseTiming();
        KIVCore::shutdown();
        const std::string key = unusedKey();
        const KIVOptions options = optionsFor(key);
        kiv::Timer::timePassed(); // what the former setup has left to do
        state.ResumeTiming();
        KIVCore::setupWithKey(key, options);
    }
    if (!many->flags.front()->name()) {
        state.SkipWithError("the flags are not registered");
    }
}

/// `KIVCore::unfreeze` for as many flags as the argument says, of which 1,000 are frozen.
void unfreeze(benchmark::State& state) {
    benchFlags();
    const std::string key = unusedKey();
    KIVCore::setupWithKey(key, optionsFor(key));
    static const auto many = std::make_shared<ManyFlags>(state.range(0), KIVFreezeUntilUnfreeze);
    KIVCore::register_("unfreeze", many);
    const auto& flags = many->flags;
    for (auto _ : state) {
        state.PauseTiming();
        for (std::size_t i = 0; i < 1000; ++i) {
            flags[i * flags.size() / 1000]->isEnabled();
        }
        state.ResumeTiming();
        KIVCore::unfreeze();
    }
    if (flags.front()->isFreezed()) {
        state.SkipWithError("the flags are not thawed");
    }
}

BENCHMARK(setUpWithFlags)
    ->Name("setup")
    ->Arg(10'000)
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();
BENCHMARK(unfreeze)
    ->Name("unfreeze")
    ->Arg(100'000)
    ->Iterations(10)
    ->Unit(benchmark::kMillisecond)
    ->UseRealTime();

} // namespace
