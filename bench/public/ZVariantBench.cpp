// The cost of the flat interface: reading a variant's element type through
// ZVariantAbi (a flat call with an error record and its check) against the
// direct virtual call that ZVariant makes, in the same run.
#include <benchmark/benchmark.h>

#include <vector>

#include "LumCore/ZVariant.hpp"

namespace {

using namespace Marlowen::Lum;

const std::vector<double>& someValues()
{
    static const std::vector<double> values(64, 1.5);
    return values;
}

void BM_ZVariant_WellKnownDataType_Direct(benchmark::State& state)
{
    const ZVariant value(someValues().data(), someValues().size());
    for (auto _ : state) {
        const WellKnownType type = value.wellKnownDataType();
        benchmark::DoNotOptimize(type);
        if (type != WellKnownTypeOf<double>::value) {
            state.SkipWithError("the wrong type");
            break;
        }
    }
}
BENCHMARK(BM_ZVariant_WellKnownDataType_Direct);

void BM_ZVariantAbi_WellKnownDataType_Flat(benchmark::State& state)
{
    const ZVariantAbi value(someValues().data(), someValues().size());
    for (auto _ : state) {
        const WellKnownType type = value.wellKnownDataType();
        benchmark::DoNotOptimize(type);
        if (type != WellKnownTypeOf<double>::value) {
            state.SkipWithError("the wrong type");
            break;
        }
    }
}
BENCHMARK(BM_ZVariantAbi_WellKnownDataType_Flat);

}  // namespace
