#define OPENSSL_SUPPRESS_DEPRECATED
#include <openssl/md5.h>

#include <cstdlib>

#include "BenchWorld.h"

namespace {

void unit(benchmark::State& state) {
    const std::string text(40, 'x');
    unsigned char digest[MD5_DIGEST_LENGTH];
    for (auto _ : state) {
        benchmark::DoNotOptimize(
            MD5(reinterpret_cast<const unsigned char*>(text.data()), text.size(), digest));
        benchmark::ClobberMemory();
    }
}

/// The value of a flag, read as an application reads it.
bool valueOf(const KIVFlag& flag) { return flag.isEnabled(); }
bool valueOf(const KIVString& flag) { return flag.getStringValue() == "1"; }

/// Measures reads of the flag. The benchmark is skipped with an error when the flag has another value than
/// expected.
template <class Flag>
void read(benchmark::State& state, const Flag& flag, bool expected) {
    if (valueOf(flag) != expected) {
        state.SkipWithError("the flag does not have the value that it should have");
        return;
    }
    const AllocationsPerIteration allocations(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(valueOf(flag));
    }
}

/// Reads with a context of three values, one of which decides.
void readWithContext(benchmark::State& state) {
    const KIVFlag& flag = benchFlags().context;
    const KIVDynamicPropertyContext context({{"plan", "pro"}, {"seats", 12}, {"trial", false}});
    if (!flag.isEnabled(context)) {
        state.SkipWithError("the flag does not have the value that it should have");
        return;
    }
    const AllocationsPerIteration allocations(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(flag.isEnabled(context));
    }
}

BENCHMARK(unit)->Name("unit/md5_40");

const int registered = [] {
    const auto add = [](const std::string& name, BenchFlags& (*world)(), auto which, bool expected = true) {
        benchmark::RegisterBenchmark(name.c_str(),
                                     [=](benchmark::State& state) { read(state, world().*which, expected); })
            ->Threads(1)
            ->Threads(2)
            ->UseRealTime();
    };
    add("read/plain", benchFlags, &BenchFlags::plain, false);
    add("read/constant", benchFlags, &BenchFlags::constant);
    add("read/rule", benchFlags, &BenchFlags::rule);
    add("read/rollout", benchFlags, &BenchFlags::rollout);
    add("read/compound", benchFlags, &BenchFlags::compound);
    add("read/list", benchFlags, &BenchFlags::list);
    add("read/twenty", benchFlags, &BenchFlags::twenty);
    add("read/forty", benchFlags, &BenchFlags::forty);
    add("read/regex", benchFlags, &BenchFlags::regex);
    benchmark::RegisterBenchmark("read/context", readWithContext)->Threads(1)->Threads(2)->UseRealTime();
    add("read/frozen", benchFlags, &BenchFlags::frozen);
    add("read/override", benchFlags, &BenchFlags::overridden);
    add("read_handled/rule", benchFlagsWithHandler, &BenchFlags::rule);
    add("read_handled/rollout", benchFlagsWithHandler, &BenchFlags::rollout);
    add("read_handled/compound", benchFlagsWithHandler, &BenchFlags::compound);
    add("read_handled/regex", benchFlagsWithHandler, &BenchFlags::regex);
    return 0;
}();

} // namespace
