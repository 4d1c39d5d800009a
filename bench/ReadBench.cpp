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

/// Reads a flag as an application does; a value that is not the expected one stops the run.
void read(benchmark::State& state, const KIVFlag& flag, bool expected) {
    if (flag.isEnabled() != expected) {
        state.SkipWithError("the flag does not have the value that it should have");
        return;
    }
    const AllocationsPerIteration allocations(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(flag.isEnabled());
    }
}

void readPlain(benchmark::State& state) { read(state, benchFlags().plain, false); }
void readRule(benchmark::State& state) { read(state, benchFlags().rule, true); }

BENCHMARK(unit)->Name("unit/md5_40");
BENCHMARK(readPlain)->Name("read/plain")->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(readRule)->Name("read/rule")->Threads(1)->Threads(2)->UseRealTime();

} // namespace
