// A module built by another compiler against another C++ runtime (clang++
// with libc++) that uses the g++-built library through ZVariantAbi and the
// ZString members whose parameters are no standard-library types. Failures
// must arrive as this runtime's own standard exceptions.
#include <cstdio>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <string>
#include <vector>

#include "../support/ThrownText.hpp"
#include "LumCore/ZString.hpp"
#include "LumCore/FPropertyTreeAbi.hpp"
#include "LumCore/VariantLender.hpp"
#include "LumCore/ZVariantAbi.hpp"

namespace {

int g_failures = 0;

void check(bool condition, const char* what)
{
    if (!condition) {
        std::fprintf(stderr, "check failed: %s\n", what);
        ++g_failures;
    }
}

#define CHECK(condition) check((condition), #condition)

using LumTest::thrownText;
using namespace Marlowen::Lum;

void strings()
{
    const ZString text("Cross Runtime", 13);
    const ZString share = text;
    CHECK(share.c_str() == text.c_str());
    CHECK(text.find("time", 0, 4) == 9);
    CHECK(std::strcmp(text.toLower().c_str(), "cross runtime") == 0);
    const ZString cut = text.substr(6, 3);
    CHECK(cut.size() == 3 && std::memcmp(cut.data(), "Run", 3) == 0);
}

void variants()
{
    const ZVariantAbi scalar = 2.5;
    CHECK(scalar.as<int>() == 2);

    std::vector<size_t> dims{2, 3};
    const int values[] = {1, 2, 3, 4, 5, 6};
    ZVariantAbi grid(values, 6, dims);
    double sum = 0;
    for (double v : grid.iterable<double>()) {
        sum += v;
    }
    CHECK(sum == 21.0);
    CHECK(grid.elementAt<int>(4) == 5);

    ZVariantAbi columns = grid;
    columns.reorderData(DataOrdering::ColumnMajor);
    CHECK(columns.elementAt<int>(1) == 4);
    CHECK(columns.isEquivalentTo(grid));
    CHECK(!columns.isIdenticalTo(grid));
}

// A tree the library made (read from JSON) read here, and one built here
// that the library writes.
void trees()
{
    const FPropertyNodeAbi rig =
        FPropertyNodeAbi::fromJson(R"({"site": "lab 2", "sensors": [{"rate": 50.0}, {"rate": 25}], "spare": null})");
    double rates = 0;
    for (const FPropertyNodeAbiView sensor : rig.at("sensors").items()) {
        rates += sensor.at("rate").valueAs<double>();
    }
    CHECK(rates == 75.0);
    std::string keys;
    for (const auto& entry : rig.entries()) {
        keys += std::string(entry.key) + (entry.node.isNull() ? "!" : ";");
    }
    CHECK(keys == "site;sensors;spare!");
    CHECK(!rig.find("absent").has_value());
    CHECK(thrownText<std::out_of_range>([&] { (void)rig.at("site")[0]; }) == "FPropertyNode is not a list");

    const int gains[] = {1, 2};
    const FPropertyNodeAbi built = FPropertyNodeAbi::map(
        {{"gain", FPropertyNodeAbi::value(ZVariantAbi(gains, 2))}, {"none", FPropertyNodeAbi()}, {"rig", rig}});
    CHECK(built.toJson() ==
          R"({"gain":[1,2],"none":null,"rig":{"site":"lab 2","sensors":[{"rate":50.0},{"rate":25}],"spare":null}})");
    const ZVariantAbi bytes = built.toCbor();
    const FPropertyNodeAbi back = FPropertyNodeAbi::fromCbor(bytes.constStoredData(), bytes.dimensions()[0]);
    CHECK(back.at("gain").value().isIdenticalTo(ZVariantAbi(gains, 2)));
}

// Memory of this runtime lent to the library and taken back: read in
// place, reshaped within its room, then detached before it goes.
void lentMemory()
{
    auto samples = std::make_unique<std::vector<double>>(std::vector<double>{1, 2, 3, 4, 5, 6});
    ZVariantAbi kept;
    {
        VariantLender<double> lender(samples->data(), {2, 3});
        ZVariantAbi lent = lender.variant();
        CHECK(lent.constStoredData() == samples->data());
        (*samples)[5] = 60;
        CHECK(lent.elementAt<double>(5) == 60);
        kept = lent;
        CHECK(thrownText<std::runtime_error>([&] { kept.reshapeNoRealloc({3, 2}); }) ==
              "Reference count is greater than 1 - cannot reshape without reallocating.");
    }
    samples.reset();
    CHECK(kept.dimensions()[1] == 3 && kept.elementAt<double>(5) == 60);
}

void failuresArriveAsThisRuntimesExceptions()
{
    const ZVariantAbi scalar = 1.5;
    CHECK(thrownText<std::runtime_error>([&] { (void)scalar.as<unsigned char>(ConversionMode::Lossless); }) ==
          "Cannot convert Marlowen::Lum::ZVariantAbi of type 'double' (size: 1) to 'uint8_t'");

    // Raised inside the library, carried by the error record, and thrown
    // again here by the caller's own check.
    std::vector<size_t> dims{3};
    const double values[] = {1, 2, 3};
    ZVariantAbi array(values, 3, dims);
    const ZVariantAbi share = array;
    std::vector<size_t> other{1, 3};
    CHECK(thrownText<std::runtime_error>([&] { array.reshapeNoRealloc(other); }) ==
          "Reference count is greater than 1 - cannot reshape without reallocating.");
    std::vector<size_t> wrong{2, 2};
    CHECK(thrownText<std::length_error>([&] { ZVariantAbi mismatched(values, 3, wrong); }) ==
          "dimensions do not match data length");
    CHECK(thrownText<std::invalid_argument>([&] { (void)array.elementAt<float>(0); }) == "Wrong data type.");
}

}  // namespace

int main()
{
    strings();
    variants();
    trees();
    lentMemory();
    failuresArriveAsThisRuntimesExceptions();
    if (g_failures != 0) {
        std::fprintf(stderr, "%d check(s) failed\n", g_failures);
        return 1;
    }
    std::puts("clang++/libc++ client: all checks passed");
    return 0;
}
