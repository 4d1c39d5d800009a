#include <kiv/c.h>

#include "BenchWorld.h"

/// The reads of ReadBench.cpp through the C interface; report.py compares the two.
namespace {

constexpr std::size_t zeroEnded = SIZE_MAX;

kiv_flag* handleOf(const std::string& name) {
    benchFlags();
    kiv_flag* flag = nullptr;
    kiv_flag_find(("bench." + name).c_str(), zeroEnded, &flag);
    return flag;
}

/// Repeats a read that gives true or false. The benchmark is skipped with an error when it gives another
/// value.
template <class Read>
void repeat(benchmark::State& state, bool expected, Read read) {
    std::int32_t value = 0;
    if (read(value) != KIV_OK || value != (expected ? 1 : 0)) {
        state.SkipWithError(kiv_error_text());
        return;
    }
    const AllocationsPerIteration allocations(state);
    for (auto _ : state) {
        benchmark::DoNotOptimize(read(value));
        benchmark::DoNotOptimize(value);
    }
}

void readByHandle(benchmark::State& state, const std::string& name, bool expected) {
    const kiv_flag* flag = handleOf(name);
    repeat(state, expected, [=](std::int32_t& value) { return kiv_flag_read_bool(flag, nullptr, &value); });
}

void readText(benchmark::State& state) {
    const kiv_flag* flag = handleOf("regex");
    char buffer[64];
    repeat(state, true, [&](std::int32_t& value) {
        std::size_t size = 0;
        const kiv_status status = kiv_flag_read_text(flag, nullptr, buffer, sizeof(buffer), &size);
        value = size == 1 && buffer[0] == '1' ? 1 : 0;
        return status;
    });
}

void readWithContext(benchmark::State& state) {
    const kiv_flag* flag = handleOf("context");
    const kiv_entry entries[] = {
        {{"plan", 4}, {.kind = KIV_TEXT, .boolean = 0, .integer = 0, .real = 0, .text = {"pro", 3}}},
        {{"seats", 5}, {.kind = KIV_INT, .boolean = 0, .integer = 12, .real = 0, .text = {}}},
        {{"trial", 5}, {.kind = KIV_BOOL, .boolean = 0, .integer = 0, .real = 0, .text = {}}}};
    kiv_context* context = nullptr;
    kiv_context_create(entries, std::size(entries), &context);
    repeat(state, true, [=](std::int32_t& value) { return kiv_flag_read_bool(flag, context, &value); });
    kiv_context_free(context);
}

void readByName(benchmark::State& state) {
    benchFlags();
    repeat(state, true,
           [](std::int32_t& value) { return kiv_read_bool("bench.rule", 10, 0, nullptr, &value); });
}

/// What `c_read_by_name/rule` is compared with.
void readByNameInCpp(benchmark::State& state) {
    benchFlags();
    repeat(state, true, [](std::int32_t& value) {
        value = KIVCore::dynamicAPI()->isEnabled("bench.rule", false) ? 1 : 0;
        return KIV_OK;
    });
}

const int registered = [] {
    const auto add = [](const std::string& name, auto run) {
        benchmark::RegisterBenchmark(name.c_str(), run)->Threads(1)->Threads(2)->UseRealTime();
    };
    for (const char* name : {"plain", "constant", "rule", "rollout", "compound", "frozen", "override"}) {
        const std::string flag = name == std::string("override") ? "overridden" : name;
        add(std::string("c_read/") + name,
            [=](benchmark::State& state) { readByHandle(state, flag, flag != "plain"); });
    }
    add("c_read/regex", readText);
    add("c_read/context", readWithContext);
    add("c_read_by_name/rule", readByName);
    add("read_by_name/rule", readByNameInCpp);
    return 0;
}();

} // namespace
