// A tour of LumCore: what the library does, shown at work.
#include <iostream>
#include <stdexcept>
#include <string>

#include <complex>
#include <vector>

#include "LumCore/ConsoleFormatter.hpp"
#include "LumCore/CopySlice.hpp"
#include "LumCore/CustomTypeCodec.hpp"
#include "LumCore/FPropertyTree.hpp"
#include "LumCore/c/LumCoreFlat.h"
#include "LumCore/PropertyTree.hpp"
#include "LumCore/ZString.hpp"
#include "LumCore/ZVariant.hpp"

namespace {

using namespace Marlowen::Lum;
using namespace Marlowen::Lum::Literals;

void section(const char* title) { std::cout << "\n== " << title << " ==\n"; }

void strings()
{
    section("Shared strings");
    const ZString name("Sensor Temperature", 18);
    const ZString shared = name;  // a share: one atomic increment, no copy
    std::cout << "made:      \"" << name << "\" (" << name.size() << " bytes)\n";
    std::cout << "shared:    same text pointer? " << std::boolalpha << (shared.c_str() == name.c_str()) << "\n";

    const ZString constant("unit: K"_zl);  // literal form: no allocation at all
    std::cout << "literal:   \"" << constant << "\"\n";

    std::cout << "find:      \"Temp\" at " << name.find("Temp", 0, 4) << "\n";
    std::cout << "cut:       \"" << name.substr(7) << "\"\n";
    std::cout << "lowered:   \"" << name.toLower() << "\"\n";
    std::cout << "replaced:  \"" << name.replaceAll("Temperature", "Pressure") << "\"\n";
    std::cout << "stripped:  \"" << ZString("  padded  ").strip(" ") << "\"\n";
}

void errorsAtTheBoundary()
{
    section("Errors cross the boundary as data, and come back as exceptions");
    const ZString name("short");
    try {
        (void)name.substr(99);
    } catch (const std::out_of_range& e) {
        std::cout << "std::out_of_range caught: \"" << e.what() << "\"\n";
    }

    // A failure seen from C: a word and a message in the record, no exception.
    ErrorRecord error;
    error.typeName = nullptr;
    const double values[] = {1, 2, 3};
    const std::size_t wrongShape[] = {2, 2};
    ZVariantData* handle = ZVariantData_C_API_constructArray(&error, values, ZWellKnownType_double, 3,
                                                             ZArrayDimensions{wrongShape, 2}, ZDataOrdering_RowMajor);
    std::cout << "flat call: handle " << (handle ? "set" : "null") << ", record says " << error.typeName << ": \""
              << error.message << "\"\n";
}

// Prints the elements of a variant in storage order, read as T.
template <class Variant, class T = double>
void printElements(const char* label, const Variant& value)
{
    std::cout << label;
    for (const T& element : value.template iterable<T>()) {
        std::cout << ' ' << element;
    }
    std::cout << "   [" << value.wellKnownDataType().toString() << ", "
              << (value.dataOrdering() == DataOrdering::RowMajor ? "row-major" : "column-major") << ", shape";
    for (std::size_t extent : value.dimensions()) {
        std::cout << ' ' << extent;
    }
    std::cout << "]\n";
}

void variants()
{
    section("Variants: scalars and arrays");
    const ZVariant temperature = 21.5;  // lives inside the value: no allocation
    std::cout << "scalar:    " << temperature.as<double>() << " as double, " << temperature.as<int>() << " as int, \""
              << temperature.convertTo<ZString>(ConversionMode::CastOrParse).as<ZString>() << "\" as text\n";

    const std::vector<std::size_t> shape{2, 3};
    const std::int32_t counts[] = {1, 2, 3, 4, 5, 6};
    const ZVariant grid(counts, 6, shape);
    printElements("made:     ", grid);

    ZVariant columns = grid;  // shares the storage
    columns.reorderData(DataOrdering::ColumnMajor);
    printElements("reordered:", columns);

    const ZVariant asDouble = grid.convertTo<double>(ConversionMode::Lossless);
    printElements("converted:", asDouble);

    std::cout << std::boolalpha << "compared:  int32 row-major vs double column-major equivalent? "
              << columns.convertTo<double>().isEquivalentTo(grid) << ", identical? " << columns.isIdenticalTo(grid)
              << "\n";

    section("ZVariantAbi: the same through the flat C interface");
    const ZVariantAbi portable(counts, 6, shape);
    double sum = 0;
    for (double v : portable.iterable<double>()) {
        sum += v;
    }
    std::cout << "sum of the elements as double: " << sum << "; element 4 is " << portable.elementAt<std::int32_t>(4)
              << "\n";

    section("A conversion the rules refuse");
    try {
        (void)ZVariant(300.5).as<std::uint8_t>(ConversionMode::Lossless);
    } catch (const std::runtime_error& e) {
        std::cout << "std::runtime_error: " << e.what() << "\n";
    }
    try {
        (void)portable.convertTo<ZString>();
    } catch (const std::runtime_error& e) {
        std::cout << "std::runtime_error: " << e.what() << "\n";
    }

    section("A real array viewed as complex, with no copy");
    const double samples[] = {1, 0, 0, 1, -1, 0};  // three (re, im) pairs
    const ZVariant real(samples, 6, ArrayDimensionsView{6});
    const ZVariant complex = real.viewRealAsComplex();
    printElements<ZVariant, std::complex<double>>("as complex:", complex);
    std::cout << "same memory? " << (complex.constStoredData() == real.constStoredData()) << "\n";
}

void slices()
{
    section("Slices: selections per dimension, an offset table, a copy");
    // A 4 x 5 grid whose element (r, c) is 10 r + c.
    std::vector<double> values;
    for (int r = 0; r < 4; ++r) {
        for (int c = 0; c < 5; ++c) {
            values.push_back(10.0 * r + c);
        }
    }
    const ZVariant grid(values.data(), values.size(), ArrayDimensionsView{4, 5});
    printElements("grid:     ", grid);

    // Rows 1 to the last, and columns 0 and 2 to 4 by steps of 2, counted from the end.
    const IndexSet rows(IndexRange(IndexValue(1), IndexValue(0, true)));
    const IndexSet columns(IndexValue(0), IndexRange(IndexValue(2, true), IndexValue(0, true), 2));
    const SliceFlattener slice({rows, columns}, grid.dimensions(), grid.dataOrdering(), UseDataOrdering::AsArray);
    std::cout << "offsets:  ";
    for (std::uint64_t offset : slice.offsets()) {
        std::cout << ' ' << offset;
    }
    std::cout << "\n";
    printElements("copied:   ", copySlice(grid, slice));

    // The same slice enumerated column by column: a column-major copy.
    const SliceFlattener byColumn({rows, columns}, grid.dimensions(), grid.dataOrdering(),
                                  UseDataOrdering::ColumnMajor);
    printElements("by column:", copySlice(grid, byColumn));
}

// A class of the application's own: the library has never heard of it.
struct Calibration {
    double offset = 0;
    double gain = 0;
    friend bool operator==(const Calibration& a, const Calibration& b)
    {
        return a.offset == b.offset && a.gain == b.gain;
    }
};

void customData()
{
    section("An application's own class, carried as custom data");
    const ZVariant calibration(Calibration{0.5, 1.02});  // explicit: one counted heap object
    std::cout << std::boolalpha << "holds Calibration? " << calibration.holds<Calibration>() << ", type "
              << calibration.wellKnownDataType().toString() << ", gain " << calibration.elementAt<Calibration>(0).gain
              << "\n";
    std::cout << "equal to another {0.5, 1.02}? " << calibration.isEquivalentTo(ZVariant(Calibration{0.5, 1.02}))
              << "\n";

    std::vector<Calibration> unset(3);       // all default
    const ZVariant table(std::move(unset));  // adopts the vector's block
    printElements("defaults to double:", table.convertTo<double>(ConversionMode::Lossless));
    try {
        (void)calibration.as<double>(ConversionMode::Lossless);
    } catch (const std::runtime_error& e) {
        std::cout << "a set value does not convert: std::runtime_error: " << e.what() << "\n";
    }
}

void trees()
{
    section("Property trees: built, navigated, frozen, shared");
    const double rates[] = {50, 55, 60};
    PropertyList sensors;
    sensors.push_back(PropertyMap{{"name", "probe"}, {"rates", ZVariant(rates, 3)}});
    sensors.push_back(PropertyMap{{"name", "reference"}, {"unit", "K"}, {"name", "ignored: first key wins"}});
    PropertyNode rig(PropertyMap{{"site", "lab 2"}, {"sensors", std::move(sensors)}});

    const PropertyPath where{"sensors", 1, "name"};
    std::cout << "at " << where << ": ";
    PrintTo(rig.at(where).value(), &std::cout);
    std::cout << "\n";
    rig.at(PropertyPath{"sensors", 0}).map().insert("serial", std::uint64_t{4711});

    const FPropertyNode frozen(rig);      // deep: one allocation per node
    const FPropertyNode shared = frozen;  // one atomic increment, any number of threads may read it
    std::cout << "frozen, in one line: ";
    PrintTo(shared, &std::cout);
    std::cout << "\n";
    try {
        (void)shared.map().at("owner");
    } catch (const std::out_of_range& e) {
        std::cout << "std::out_of_range: " << e.what() << "\n";
    }

    section("An application's class through a codec and back");
    registerCustomTypeCodec(makeCustomTypeCodec<Calibration>(
        ZString("Calibration"),
        [](const Calibration& c) {
            return PropertyMap{{"offset", c.offset}, {"gain", c.gain}};
        },
        [](const PropertyMap& m) {
            return Calibration{m.at("offset").value().as<double>(), m.at("gain").value().as<double>()};
        }));
    const EncodedCustomTypeValues encoded = encodeCustomType(ZVariant(Calibration{0.5, 1.02}));
    std::cout << "encoded as " << encoded.typeName << ": ";
    PrintTo(encoded.values, &std::cout);
    const ZVariant decoded = decodeCustomType(encoded);
    std::cout << "\ndecoded: gain " << decoded.as<Calibration>().gain << "\n";
    const EncodedCustomTypeValues path = encodeCustomType(ZVariant(where));  // the built-in codec
    std::cout << "a path encoded: ";
    PrintTo(path.values, &std::cout);
    std::cout << "\n";

    section("The tree as an outline");
    rig.map().insert("calibration", encoded.values);
    ConsoleFormatter::serialize(rig, std::cout);
}

}  // namespace

int main()
{
    std::cout << "LumCore tour\n";
    strings();
    errorsAtTheBoundary();
    variants();
    slices();
    customData();
    trees();
    return 0;
}
