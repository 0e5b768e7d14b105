// A user's program, built against the installed LumCore.
#include <LumCore/CustomTypeCodec.hpp>
#include <LumCore/ZString.hpp>
#include <LumCore/ZVariant.hpp>

#include <iostream>
#include <stdexcept>
#include <vector>

namespace {
// A class of the user's own, carried as custom data: its storage and its
// conversion are compiled here, from the installed headers alone.
struct Reading {
    int sensor = 0;
    friend bool operator==(const Reading& a, const Reading& b) { return a.sensor == b.sensor; }
};
// The README's codec example, as C++17 compiles it.
struct Calibration {
    double offset = 0, gain = 0;
    bool operator==(const Calibration& o) const { return offset == o.offset && gain == o.gain; }
};
}  // namespace

int main()
{
    using namespace Marlowen::Lum;
    const ZString greeting("hello, installed LumCore");
    const ZString shared = greeting;
    if (shared.c_str() != greeting.c_str() || shared.find(',') != 5) {
        return 1;
    }
    try {
        (void)greeting.substr(greeting.size() + 1);
        return 2;
    } catch (const std::out_of_range& e) {
        std::cout << greeting << " (" << e.what() << ")\n";
    }

    const ZVariant readings(std::vector<Reading>{Reading{}, Reading{}});
    if (!readings.holds<Reading>() ||
        readings.convertTo<double>(ConversionMode::Lossless).elementAt<double>(1) != 0.0) {
        return 3;
    }
    if (ZVariant(2.5).as<int>(ConversionMode::Cast) != 2) {
        return 4;
    }
    registerCustomTypeCodec(makeCustomTypeCodec<Calibration>(ZString("Calibration"),
        [](const Calibration& c) { return PropertyMap{{"offset", c.offset}, {"gain", c.gain}}; },
        [](const PropertyMap& m) { return Calibration{m.at("offset").value().as<double>(),
                                                      m.at("gain").value().as<double>()}; }));
    EncodedCustomTypeValues e = encodeCustomType(ZVariant(Calibration{0.5, 1.02}));
    if (decodeCustomType(e).as<Calibration>().gain != 1.02) {
        return 5;
    }
    return 0;
}
